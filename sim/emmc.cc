#include "emmc.h"

#include "block.h"

namespace sim {

void add_emmc(Board& board) {
  auto emmc = std::make_shared<BlockDevice>(board.clock(), kEmmcBytes, kEmmcRate);
  emmc->keep_data();
  board.add(tav::kEmmcNode, emmc);
}

}  // namespace sim
