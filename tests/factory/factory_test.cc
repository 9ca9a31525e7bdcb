// tav_factory's item table and entry on the simulated board: the table's
// invariants, link names, and the menu's run-all over the real items.
#include "factory/factory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "harness.h"
#include "items/items.h"
#include "sim/tavio.h"

namespace {

using tavtest::Outcome;

TEST(FactoryItems, table_invariants) {
  std::set<std::string> names;
  size_t rows = 0;
  for (const tav::TestItem* it = tav::kFactoryItems; it->name != nullptr; ++it, ++rows) {
    EXPECT_TRUE(names.insert(it->name).second) << it->name;
    EXPECT_TRUE(it->flag == 1 || it->flag == 2) << it->name;
    ASSERT_NE(it->description, nullptr);
    EXPECT_GT(strlen(it->description), 0u);
    // Lookup takes the first name that is a prefix of the word: a later
    // name starting with an earlier one could never be reached.
    for (const tav::TestItem* later = it + 1; later->name != nullptr; ++later)
      EXPECT_NE(strncmp(later->name, it->name, strlen(it->name)), 0) << it->name << " hides " << later->name;
  }
  ASSERT_GE(rows, 5u);
}

class Factory : public tavtest::BoardTest {};

TEST_F(Factory, menu_run_all_runs_the_flagged_items_in_table_order) {
  board().set_console("0\n");
  Outcome r = run(tav::factory_main, {"tav_factory", "-m"});
  std::string menu;
  int index = 0;
  for (const auto* row = tav::kFactoryItems; row->name != nullptr; ++row)
    menu += "\t[" + std::to_string(index++) + "] " + row->description + "\n";
  ASSERT_EQ(menu.rfind("\t[0] 看门狗复位测试\n\t[1] bootparam信息\n", 0), 0u);
  menu += "\t[h] 打印帮助信息\n\t[q] 退出测试\n\n请选择测试选项(默认值=0):0\n";
  ASSERT_EQ(r.out.substr(0, menu.size()), menu);
  size_t boot = r.out.find("bootparam测试开始"), cpld = r.out.find("CPLD测试开始"), alarm = r.out.find("报警测试成功!"),
         panel = r.out.find("面板测试完毕\n"), keys = r.out.find("面板输入ESC退出测试\nselect return");
  EXPECT_LT(boot, cpld);
  EXPECT_LT(cpld, alarm);
  EXPECT_NE(alarm, std::string::npos);
  // The key test listens on the port the panel test left open.
  EXPECT_LT(panel, keys);
  EXPECT_NE(keys, std::string::npos);
  EXPECT_EQ(sim::tavio(board())->beeps.size(), 6u);
  // The joystick probe leaves the keyboard's node open, the panel test its port.
  EXPECT_EQ(r.open_descriptors, 2u);
}

}  // namespace
