// Hexadecimal listings and raw dumps of memory.
#pragma once

#include <cstddef>
#include <cstdio>

namespace tav {

// Byte listing, width bytes a row, with an ASCII column; returns fflush's result.
int dump_bytes(FILE* stream, const volatile void* buffer, unsigned long length, unsigned width);
// 32-bit word listing, four words a row.
int dump_words(FILE* stream, const volatile void* buffer, unsigned long length, unsigned width);
// Writes the buffer in one call; 1 for a null buffer, else 0 (also after a short write).
int dump_to_fd(const volatile void* buffer, unsigned long length, int fd);
// Appends an optional header and the buffer to path; 0 on success, else 1.
int dump_to_file(const volatile void* buffer, unsigned long length, const char* header, const char* path);

}  // namespace tav
