// The work-key tool: what reaches the driver, what is stored where, and what
// is printed, against the simulated encryption driver.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "drivers/ded.h"
#include "harness.h"
#include "items/items.h"
#include "sim/ded.h"

namespace {

using Bytes = std::vector<uint8_t>;

const std::string kUsage =
    "\nUsage: workkey String [option]\n\n    -e [Str]   encrypt workkey and write\n"
    "    -d         decrypt workkey and read\n    -t         workkey read write by tavded\n    -h         help\n\n";

Bytes padded(const std::string& s, size_t n) {
  Bytes b(s.begin(), s.end());
  b.resize(n, 0);
  return b;
}

// The file form: a 32-byte header whose first word is the length, then the data.
std::string file_form(const Bytes& data) {
  std::string f(32, '\0');
  uint32_t n = static_cast<uint32_t>(data.size());
  memcpy(&f[0], &n, 4);
  return f + std::string(data.begin(), data.end());
}

class Workkey : public tavtest::BoardTest {
 protected:
  sim::DedDevice& ded() { return *sim::ded(board()); }
};

TEST_F(Workkey, keys_are_rounded_to_eight_and_cut_at256) {
  struct Case {
    std::string key;
    size_t stored;
  };
  for (const Case& c :
       {Case{"abc", 8}, Case{"12345678", 8}, Case{"123456789", 16}, Case{std::string(300, 'w'), 256}, Case{"", 0}}) {
    tavtest::Outcome o = run(tav::workkey_tool, {"workkey", "-e", c.key});
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.result, 0);
    Bytes plain = padded(c.key.substr(0, 256), c.stored);
    ASSERT_FALSE(ded().sent.empty());
    EXPECT_EQ(ded().sent.back(), plain) << c.key.size();
    EXPECT_EQ(tavtest::read_file(dir() + "/ded_workkey").substr(0, 32 + c.stored),
              file_form(sim::DedDevice::encrypt(plain)))
        << c.key.size();
    tavtest::Outcome d = run(tav::workkey_tool, {"workkey", "-d"});
    EXPECT_EQ(d.out, "out:" + c.key.substr(0, 256) + "\n");
  }
  // Created by the tool with no permission bits, as on the board.
  struct stat st;
  ASSERT_EQ(stat((dir() + "/ded_workkey").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0u);
}

TEST_F(Workkey, usage_and_failures) {
  struct Case {
    const char* what;
    std::vector<std::string> words;
    sim::Fault fault;
    bool no_driver;
    std::string out;
    std::string err;
    int result;
  };
  const sim::Fault none = {sim::Call::Open, "/nowhere", 0, 0, 0};
  // A failed fetch leaves the zeroed buffer, which is decrypted and printed.
  Bytes garbage = sim::DedDevice::decrypt(Bytes(256, 0));
  const std::string zeroed_out = std::string("out:") + std::string(garbage.begin(), garbage.end()).c_str() + "\n";
  const Case cases[] = {
      {"help", {"workkey", "-h"}, none, false, "", kUsage, -1},
      {"-e without its string", {"workkey", "-e"}, none, false, "", kUsage, -1},
      {"no driver: the plain record is still stored",
       {"workkey", "-e", "abc"},
       none,
       true,
       "Open tavded fail. errno[2]\n",
       "",
       0},
      {"encryption refused",
       {"workkey", "-e", "abc"},
       {sim::Call::Ioctl, tav::kDedPath, tav::TAVDED_ENCRYPT, 0, EIO},
       false,
       "workkey_test ioctl faild. errno[5]\n",
       "",
       0},
      {"fetch refused",
       {"workkey", "-t", "-d"},
       {sim::Call::Ioctl, tav::kDedPath, tav::TAVDED_READ_WORKKEY, 0, EIO},
       false,
       "workkey_rw ioctl faild. errno[5]\n" + zeroed_out,
       "",
       0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    board().clear_faults();
    if (c.fault.err != 0) board().fail(c.fault);
    if (c.no_driver) board().remove(tav::kDedPath);
    tavtest::Outcome o = run(tav::workkey_tool, c.words);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.err, c.err);
    EXPECT_EQ(o.result, c.result);
    EXPECT_EQ(o.open_descriptors, 0u);
    if (c.no_driver) sim::add_ded(board());
  }
  // The failed encryption stored the plain record as it stood.
  EXPECT_EQ(tavtest::read_file(dir() + "/ded_workkey"), file_form(padded("abc", 8)));
}

TEST_F(Workkey, missing_or_short_key_file) {
  // No file: an empty one is made and the zeroed buffer is decrypted whole.
  tavtest::Outcome o = run(tav::workkey_tool, {"workkey", "-d"});
  Bytes garbage = sim::DedDevice::decrypt(Bytes(256, 0));
  EXPECT_EQ(o.out, std::string("out:") + std::string(garbage.begin(), garbage.end()).c_str() + "\n");
  EXPECT_EQ(ded().sent.back(), Bytes(256, 0));
  EXPECT_EQ(tavtest::read_file(dir() + "/ded_workkey"), "");
  // A header promising 16 bytes over 8: the missing half stays zero.
  Bytes enc = sim::DedDevice::encrypt(padded("halfhalf", 16));
  std::string f = file_form(enc);
  tavtest::write_file(dir() + "/ded_workkey", f.substr(0, 32 + 8));
  run(tav::workkey_tool, {"workkey", "-d"});
  Bytes want(enc.begin(), enc.begin() + 8);
  want.resize(16, 0);
  EXPECT_EQ(ded().sent.back(), want);
}

}  // namespace
