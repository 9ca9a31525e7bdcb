#include "factory/factory.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "common/basename.h"
#include "station/station.h"

namespace tav {

int factory_main(int argc, char** argv) {
  if (argc < 1 || argv == nullptr || argv[0] == nullptr) return 0;
  const char* base = base_name(argv[0]);
  // A station's limits that cannot be honoured run no item.
  if (!station::start(kFactoryProgramName, kRunnerVersion)) return 2;
  int rc;
  if (strncmp(base, kFactoryProgramName, strlen(kFactoryProgramName)) == 0) {
    rc = run_tests(argc, argv, kFactoryProgramName, kFactoryItems);
  } else {
    // A link: the started name becomes the item word.
    std::vector<char*> words;
    words.reserve(static_cast<size_t>(argc) + 2);
    words.push_back(const_cast<char*>(kFactoryProgramName));
    words.push_back(const_cast<char*>(base));
    for (int i = 1; i < argc; ++i) words.push_back(argv[i]);
    words.push_back(nullptr);
    rc = run_tests(argc + 1, words.data(), kFactoryProgramName, kFactoryItems);
  }
  rc = station::finish(rc);
  fflush(stdout);
  return rc;
}

}  // namespace tav
