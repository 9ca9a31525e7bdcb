// The last path component of a started name: what selects a tool or an item.
#pragma once

#include <cstring>

namespace tav {

// "" for a null path.
inline const char* base_name(const char* path) {
  if (path == nullptr) return "";
  const char* slash = strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

}  // namespace tav
