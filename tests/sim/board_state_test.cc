// The simulated board's state kept between commands.
#include "sim/board_state.h"

#include <gtest/gtest.h>

#include "drivers/block.h"
#include "harness.h"
#include "sim/block.h"
#include "sim/env.h"
#include "sim/i2c.h"
#include "sim/mtd.h"
#include "sim/net_drivers.h"
#include "sim/peripherals.h"

namespace {

class BoardState : public tavtest::BoardTest {};

TEST_F(BoardState, what_one_board_keeps_the_next_one_finds) {
  sim::Board& first = board();
  sim::fan(first)->duty = 40;
  sim::rtc(first)->set_time(1700000000);
  sim::env(first)->clear();
  sim::env(first)->set("bootargs", std::string("mem=64M\0x", 9));
  sim::env(first)->set("empty", "");
  sim::env(first)->set_password("s3cret");
  sim::i2c_chip(first, 1, 0x2b)->regs()[5] = 0xA5;
  auto emmc = std::dynamic_pointer_cast<sim::BlockDevice>(first.device(tav::kEmmcNode));
  emmc->poke(70000, "kept", 4);
  sim::nand_flash(first)->parts[2].data[5000] = 0x12;
  ASSERT_TRUE(sim::save_board_state(first, dir() + "/state"));

  sim::Board& next = fresh_board();
  EXPECT_EQ(sim::fan(next)->duty, 60);
  std::string error;
  ASSERT_TRUE(sim::load_board_state(next, dir() + "/state", &error)) << error;
  EXPECT_EQ(sim::fan(next)->duty, 40);
  EXPECT_GE(sim::rtc(next)->seconds(), 1700000000);
  EXPECT_LT(sim::rtc(next)->seconds(), 1700000000 + 60);
  auto vars = sim::env(next)->variables();
  ASSERT_EQ(vars.size(), 2u);
  EXPECT_EQ(vars[0].second, std::string("mem=64M\0x", 9));
  EXPECT_EQ(vars[1].first, "empty");
  EXPECT_EQ(sim::env(next)->password(), "s3cret");
  EXPECT_EQ(sim::i2c_chip(next, 1, 0x2b)->regs()[5], 0xA5);
  char back[5] = {};
  std::dynamic_pointer_cast<sim::BlockDevice>(next.device(tav::kEmmcNode))->peek(70000, back, 4);
  EXPECT_STREQ(back, "kept");
  EXPECT_EQ(sim::nand_flash(next)->parts[2].data[5000], 0x12);
  EXPECT_EQ(sim::nand_flash(next)->parts[2].data[5001], 0xFF);
}

TEST_F(BoardState, missing_kept_state_is_a_board_as_shipped_and_a_spoilt_one_is_refused) {
  std::string error;
  EXPECT_TRUE(sim::load_board_state(board(), dir() + "/none", &error));
  EXPECT_EQ(sim::fan(board())->duty, 60);
  for (const char* spoilt : {"fan forty\n", "env 6 6\n", "i2c 1 43 00\n", "i2c 9 80 -\n", "nand 7 0 ff\n",
                             "emmc 99999999999999 00\n", "colour blue\n"}) {
    tavtest::write_file(dir() + "/board.txt", spoilt);
    EXPECT_FALSE(sim::load_board_state(board(), dir(), &error)) << spoilt;
    EXPECT_NE(error.find("board.txt:1: cannot be read"), std::string::npos) << error;
  }
}

// Two commands through the real program: the second finds what the first set.
class BoardStateProcess : public tavtest::FactoryDirTest {};

TEST_F(BoardStateProcess, fan_duty_set_by_one_command_is_read_by_the_next) {
  dir_.link("fan", "tav_factory_sim");
  std::vector<std::string> env = {"LC_ALL=C", "TAV_SIM_STATE=" + (dir_ / "state")};
  EXPECT_EQ(tavtest::run_process(dir_, "fan", {}, env).out, "Get pwm_duty = 60\n");
  EXPECT_EQ(tavtest::run_process(dir_, "fan", {"40"}, env).out, "Set pwm_duty = 40 succeed\n");
  EXPECT_EQ(tavtest::run_process(dir_, "fan", {}, env).out, "Get pwm_duty = 40\n");
  // Without the variable every command finds a board as shipped.
  EXPECT_EQ(tavtest::run_process(dir_, "fan", {}, {"LC_ALL=C"}).out, "Get pwm_duty = 60\n");
}

}  // namespace
