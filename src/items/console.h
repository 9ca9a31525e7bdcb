// Answers typed at the console (standard input, through the seam), read a
// byte at a time so that what follows an answer stays for the next one.
#pragma once

namespace tav {

// Like fgets: at most size - 1 characters, up to and including a newline.
// Returns the length, or -1 at end of input (or a failed read) before any
// character.
int console_read_line(char* buf, int size);

// Like scanf("%d"): blanks, an optional sign and decimal digits. Returns 1
// with *out set, 0 when the next text is not a number, -1 at end of input.
int console_read_int(int* out);

}  // namespace tav
