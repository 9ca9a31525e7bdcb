// Host helpers the loop-device benchmarks share.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace bench {

// The first line a shell command prints, without its line end.
inline std::string first_line(const std::string& cmd) {
  std::string line;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return line;
  char buf[512];
  if (fgets(buf, sizeof buf, p) != nullptr) line = buf;
  pclose(p);
  line.erase(line.find_last_not_of('\n') + 1);
  return line;
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
