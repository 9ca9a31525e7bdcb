#pragma once
#include <string>
namespace tav { inline std::string gbk_to_utf8(const char* d, size_t n) { return std::string(d, n); } }
