// The host's own file system and clock, for what the program keeps about a
// run rather than what it does to the board: station records go to real
// files and carry real times whichever backend is in force, and never show
// in the board's request log or its fault counts.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sys {
namespace host {

// Opens path for appending (created 0644 when missing), writes the n bytes
// with one write and closes it. 0, or an errno.
int append_file(const char* path, const void* data, size_t n);
// Replaces path's contents (created 0644 when missing). 0, or an errno.
int write_file(const char* path, const void* data, size_t n);
// Writes all n bytes to a descriptor, retrying interrupted and short writes.
// n, or -1 with errno set.
long write_all(int fd, const void* data, size_t n);
// Nanoseconds since the epoch, and of a clock that never goes back.
int64_t realtime_ns();
int64_t monotonic_ns();
// The buffering the C library would give a stream on fd: line-buffered on a
// terminal, else fully buffered with the descriptor's preferred block size.
bool is_terminal(int fd);
size_t preferred_block(int fd);
// A whole text file; false when it cannot be read.
bool read_text(const char* path, char** text, size_t* n);
void exit_now(int status);

}  // namespace host
}  // namespace sys
