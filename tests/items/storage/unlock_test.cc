// The disk password test and the disk buffer tool.
#include <gtest/gtest.h>

#include <cstring>

#include "harness.h"
#include "items/items.h"
#include "items/storage/ata.h"
#include "items/storage/storage_ctl.h"
#include "sim/disk.h"
#include "sim/storage.h"

namespace {

using tavtest::Outcome;

class Unlock : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    disk_ = std::static_pointer_cast<sim::AtaDisk>(board().device("/dev/sdb"));
    disk_->set_security(7);
    auto pw = sim::StorageController::password_for(1, "WD-TAV0000002");
    disk_->security_password = pw;
  }
  std::shared_ptr<sim::AtaDisk> disk_;
};

TEST_F(Unlock, locked_disk_is_unlocked_with_the_drivers_password) {
  board().set_console("/dev/sdb\n");
  Outcome r = run(tav::disk_unlock, {});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "请输入块设备名称[非分区设备]:\033[0;32m/dev/sdb has password, test OK.\033[m\n");
  EXPECT_EQ(disk_->security() & 4, 0);
  // The record asks for disk 1 with the serial less its blanks.
  std::vector<uint8_t> want(24, 0);
  want[0] = 1;
  want[4] = 13;
  memcpy(&want[8], "WD-TAV0000002", 13);
  std::vector<uint8_t> asked, unlock;
  for (auto& q : r.requests) {
    if (q.request == tav::STOR_CMD_GET_PASSWORD) asked = q.bytes;
    if (q.request == tav::SG_IO) unlock = q.bytes;
  }
  EXPECT_EQ(asked, want);
  ASSERT_EQ(unlock.size(), 16u + 512u);
  EXPECT_EQ(std::vector<uint8_t>(unlock.begin(), unlock.begin() + 16),
            (std::vector<uint8_t>{0x85, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF2, 0}));
  EXPECT_EQ(memcmp(unlock.data() + 16 + 2, disk_->security_password.data(), 32), 0);
  EXPECT_EQ(r.open_descriptors, 0u);
  EXPECT_EQ(r.out.find("\x01\x02"), std::string::npos);
}

const char kBufferUsage[] =
    "\nUsage: hdbuffer -i index -c cmd -s size(M)\n\n    -i         HD index\n    -c         select ioctl "
    "command.like:\n"
    "               0:get buffer size\n               1:set buffer size\n               2:unset buffer size\n"
    "    -s         size\n    -h         help\n\n";

TEST_F(Unlock, hdbuffer_commands) {
  struct Case {
    std::vector<std::string> words;
    int result;
    std::string out;
    std::string err;
  } cases[] = {
      {{"hdbuffer", "-i", "sda", "-c", "1", "-s", "64"}, 0, "set hdd [sda] success，buffer size is 64 \n", ""},
      {{"hdbuffer", "-i", "sda", "-c", "0"}, 0, "get hdd [sda] success，buffer size is 64 \n", ""},
      {{"hdbuffer", "-i", "sda", "-c", "-1"}, 0, "get hdd [sda] success，buffer size is 64 \n", ""},
      {{"hdbuffer", "-i", "sda", "-c", "2"}, 0, "clear hdd [sda] buffer set success\n", ""},
      {{"hdbuffer", "-i", "sda", "-c", "0"}, -1, "hdbuffer_main(133): ioctl failed, errno: 19\n", ""},
      {{"hdbuffer", "-c", "3"}, 0, "", kBufferUsage},
      {{"hdbuffer", "-h"}, 0, "", kBufferUsage},
      {{"hdbuffer", "-x"}, 0, "", kBufferUsage},
      {{"hdbuffer", "-i"}, 0, "", kBufferUsage},
  };
  for (const auto& c : cases) {
    Outcome r = run(tav::hdbuffer, c.words);
    EXPECT_EQ(r.result, c.result) << c.words.size();
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.open_descriptors, 0u);
  }
  Outcome r = run(tav::hdbuffer, {"hdbuffer", "-i", std::string(40, 'n'), "-c", "1", "-s", "1"});
  auto sent = board().log_of(sim::Call::Ioctl).back().bytes;
  EXPECT_EQ(std::string(reinterpret_cast<char*>(sent.data())), std::string(31, 'n'));
  board().remove(tav::kBuffctlPath);
  r = run(tav::hdbuffer, {"hdbuffer", "-c", "0"});
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.out, "open file /dev/tavbuffctl failed, errno: 2\n");
}

}  // namespace
