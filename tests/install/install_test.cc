// What the installation carries is checked against the tables the programs
// run from, so a new tool or item cannot ship without its link or its entry
// in the manual.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "factory/factory.h"
#include "runner/runner.h"
#include "tools/front.h"

namespace tav {
namespace {

std::vector<std::string> read_lines(const std::string& path) {
  std::ifstream in(path);
  EXPECT_TRUE(in.good()) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The names `-i` links, as "PROGRAM NAME", in the order it links them.
std::vector<std::string> linked_by_the_programs() {
  std::vector<std::string> names;
  for (const BoardToolEntry* row = kBoardTools; row->name != nullptr; ++row)
    names.push_back(std::string("tav_tool ") + row->name);
  for (const TestItem* it = kFactoryItems; it->name != nullptr; ++it)
    if (it->run != nullptr && it->flag != 0) names.push_back(std::string("tav_factory ") + it->name);
  return names;
}

TEST(InstallLinks, installed_links_are_the_ones_the_programs_make) {
  EXPECT_EQ(read_lines(TAV_LINK_LIST), linked_by_the_programs());
}

struct PageCase {
  const char* page;
  std::vector<const char*> names;
};

std::vector<PageCase> page_cases() {
  PageCase tools{"tav_tool.1", {}};
  for (const BoardToolEntry* row = kBoardTools; row->name != nullptr; ++row) tools.names.push_back(row->name);
  PageCase items{"tav_factory.8", {}};
  for (const TestItem* it = kFactoryItems; it->name != nullptr; ++it) items.names.push_back(it->name);
  return {tools, items};
}

// An entry is a tagged paragraph whose tag starts with the bold name.
TEST(ManPages, every_tool_and_item_has_an_entry_in_its_page) {
  for (const PageCase& c : page_cases()) {
    std::vector<std::string> lines = read_lines(std::string(TAV_DOC_DIR) + "/" + c.page);
    for (const char* name : c.names) {
      std::string tag = std::string("\\fB") + name + "\\fR";
      bool found = false;
      for (size_t i = 1; i < lines.size() && !found; ++i)
        found = lines[i - 1] == ".TP" && lines[i].compare(0, tag.size(), tag) == 0;
      EXPECT_TRUE(found) << c.page << " has no entry for " << name;
    }
  }
}

TEST(ManPages, pages_carry_the_version_the_banner_prints) {
  for (const PageCase& c : page_cases()) {
    std::vector<std::string> lines = read_lines(std::string(TAV_DOC_DIR) + "/" + c.page);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines[0].find(std::string("\"tav ") + kRunnerVersion + "\""), std::string::npos)
        << c.page << ": " << lines[0];
  }
}

}  // namespace
}  // namespace tav
