// Host helpers the loop-device benchmarks share.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace bench {

// All that a shell command prints on its standard output.
inline std::string output(const std::string& cmd) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return out;
  char buf[8192];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  pclose(p);
  return out;
}

// The first line a shell command prints, without its line end.
inline std::string first_line(const std::string& cmd) {
  std::string out = output(cmd);
  return out.substr(0, out.find('\n'));
}

// This program's own path, to run one measured item as a fresh process.
inline std::string self_path() {
  char self[4096];
  ssize_t len = readlink("/proc/self/exe", self, sizeof self - 1);
  return std::string(self, len > 0 ? static_cast<size_t>(len) : 0);
}

// Both tools of a comparison start with nothing of the device in the page cache.
inline bool drop_caches() {
  sync();
  int fd = open("/proc/sys/vm/drop_caches", O_WRONLY);
  if (fd < 0) return false;
  bool ok = write(fd, "3", 1) == 1;
  close(fd);
  return ok;
}

}  // namespace bench
