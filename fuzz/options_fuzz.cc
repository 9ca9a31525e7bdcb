// The option scanner over a table with every kind of row and small value
// buffers, and the command-line splitter.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "input.h"
#include "tools/options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  char str[8] = {}, str2[4] = {}, positional[6] = {};
  char ch = 0;
  int32_t number = 0;
  float real = 0;
  int flag = 0;
  tav::OptionSpec table[] = {
      // The first string row takes the positional word.
      {"p", tav::OPT_STRING, 0, "positional", positional, sizeof positional},
      {"s", tav::OPT_STRING, 0, "string", str, sizeof str},
      {"c", tav::OPT_CHAR, 0, "char", &ch},
      {"t", tav::OPT_STRING2, 0, "string2", str2, sizeof str2},
      {"n", tav::OPT_INT, 0, "int", &number},
      {"r", tav::OPT_REAL, 0, "real", &real},
      {"f", tav::OPT_FLAG, 0, "flag", &flag},
      {nullptr, tav::OPT_END, 0, nullptr, nullptr},
  };
  std::vector<std::string> words = {"tool"};
  size_t count = in.byte() % 8;
  static const char* const kNames[] = {"-s", "-c", "-t", "-n", "-r", "-f", "-x", "/p"};
  for (size_t i = 0; i < count; ++i) {
    uint8_t b = in.byte();
    words.push_back(b < 0x80 ? kNames[b % 8] : in.word(16));
  }
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  tav::scan_options(static_cast<int>(words.size()), argv.data(), table);
  if (str[sizeof str - 1] != '\0' || str2[sizeof str2 - 1] != '\0' || positional[sizeof positional - 1] != '\0')
    abort();

  std::string line = in.rest();
  line = line.c_str();
  char* split[8];
  int n = 0;
  tav::split_words(&line[0], &n, split, 8);
  if (n < 0 || n > 8) abort();
  return 0;
}
