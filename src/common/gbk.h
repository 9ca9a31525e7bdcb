// GBK text, as the messages are compiled, turned into UTF-8.
#pragma once

#include <cstddef>
#include <string>

namespace tav {

// ASCII passes through; the GB2312 symbols and characters become UTF-8. Any
// other byte or pair (not GBK, cut short at the end, or a GBK character
// beyond GB2312) becomes U+FFFD.
std::string gbk_to_utf8(const char* data, size_t n);

}  // namespace tav
