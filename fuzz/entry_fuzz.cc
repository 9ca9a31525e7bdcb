// Every tool's and item's whole (argc, argv) entry, and both front ends, on
// the simulated board with a chosen board variant, an injected fault and
// console input: whatever the words and answers, a run ends without a crash
// (what runs until stopped is stopped with Ctrl-C).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "board_run.h"
#include "factory/factory.h"
#include "input.h"
#include "tools/front.h"

namespace {

struct Target {
  std::string name;
  fuzz::Entry entry;
  bool factory_front;  // words pass the runner first
};

std::vector<Target> targets() {
  std::vector<Target> t = {{"tav_tool", tav::tav_tool_main, false}, {"tav_factory", tav::factory_main, true}};
  for (const auto* row = tav::kBoardTools; row->name != nullptr; ++row)
    if (row->handler != nullptr) t.push_back({row->name, row->handler, false});
  for (const auto* row = tav::kFactoryItems; row->name != nullptr; ++row)
    if (row->run != nullptr) t.push_back({row->name, row->run, false});
  return t;
}

const std::vector<Target> kTargets = targets();

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const Target& target = kTargets[in.byte() % kTargets.size()];
  fuzz::BoardRun run;
  fuzz::choose_board(in, &run);
  run.words.push_back(target.name);
  size_t count = in.byte() % 7;
  for (size_t i = 0; i < count; ++i) {
    std::string w = fuzz::contained_word(in.word(40));
    // A repeat count runs items back to back with no virtual time passing, so
    // no Ctrl-C could stop a count in the billions: left out.
    if (target.factory_front && w[0] == '-' && w.find('c') != std::string::npos) continue;
    run.words.push_back(w);
  }
  run.console = in.rest();
  fuzz::run_on_board(target.entry, run);
  return 0;
}
