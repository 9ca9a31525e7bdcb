// The ATA command layer: exact bytes on both transports, results and messages.
#include "items/storage/ata.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstring>

#include "harness.h"
#include "sim/disk.h"

namespace {

using Bytes = std::vector<uint8_t>;

class Ata : public tavtest::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    disk_ = std::static_pointer_cast<sim::AtaDisk>(board().device("/dev/sda"));
    ASSERT_NE(disk_, nullptr);
  }
  // Runs fn with /dev/sda open; returns its result, the output and the bytes sent by ioctl.
  int with_disk(const std::function<int(int)>& fn, std::string* out, Bytes* sent) {
    int fd = sys::open("/dev/sda", O_RDWR | O_NONBLOCK);
    EXPECT_GE(fd, 0);
    board().clear_log();
    int rc = 0;
    std::string err;
    tavtest::run_capture([&] { rc = fn(fd); }, out, &err);
    auto ioctls = board().log_of(sim::Call::Ioctl);
    sent->clear();
    if (!ioctls.empty()) *sent = ioctls.back().bytes;
    sys::close(fd);
    return rc;
  }
  std::shared_ptr<sim::AtaDisk> disk_;
};

struct HdioCase {
  int cmd;
  Bytes sent;
  unsigned long request;
};

TEST_F(Ata, drive_cmd_and_task_bytes_for_every_command) {
  const HdioCase cases[] = {
      {0xD0, {0xB0, 0, 0xD0, 1}, tav::HDIO_DRIVE_CMD},
      {0xD1, {0xB0, 1, 0xD1, 1}, tav::HDIO_DRIVE_CMD},
      {0xD4, {0xB0, 0, 0xD4, 0}, tav::HDIO_DRIVE_CMD},
      {0xD5, {0xB0, 0, 0xD5, 1}, tav::HDIO_DRIVE_CMD},
      {0xD8, {0xB0, 1, 0xD8, 0}, tav::HDIO_DRIVE_CMD},
      {0xD9, {0xB0, 1, 0xD9, 0}, tav::HDIO_DRIVE_CMD},
      {0xE0, {0xE0, 0, 0, 0}, tav::HDIO_DRIVE_CMD},
      {0xE7, {0xE7, 0, 0, 0}, tav::HDIO_DRIVE_CMD},
      {0xEC, {0xEC, 0, 0, 1}, tav::HDIO_DRIVE_CMD},
      {0xD2, {0xB0, 0xD2, 0, 0, 0x4F, 0xC2, 0}, tav::HDIO_DRIVE_TASK},
      {0xDA, {0xB0, 0xDA, 0, 0, 0x4F, 0xC2, 0}, tav::HDIO_DRIVE_TASK},
      {0xDB, {0xB0, 0xDB, 0, 0, 0x4F, 0xC2, 0}, tav::HDIO_DRIVE_TASK},
  };
  for (const auto& c : cases) {
    disk_->smart_enabled = true;
    uint8_t data[512] = {};
    std::string out;
    Bytes sent;
    int rc = with_disk([&](int fd) { return tav::ata_command_interface(fd, c.cmd, data); }, &out, &sent);
    EXPECT_EQ(rc, 0) << std::hex << c.cmd;
    EXPECT_EQ(sent, c.sent) << std::hex << c.cmd;
    EXPECT_EQ(board().log_of(sim::Call::Ioctl).back().request, c.request);
    EXPECT_EQ(out, "");
  }
  uint8_t data[512];
  std::string out;
  Bytes sent;
  with_disk([&](int fd) { return tav::ata_command_interface(fd, 0xD0, data); }, &out, &sent);
  EXPECT_EQ(memcmp(data, disk_->smart_values.data(), 512), 0);
}

struct SgCase {
  int cmd;
  uintptr_t arg;
  Bytes cdb;
  int direction;
  unsigned length;
};

TEST_F(Ata, pass_through_cdb_for_every_command) {
  auto smart = [](uint8_t feature, uint8_t count) {
    return Bytes{0x85, 0, 0, 0, feature, 0, count, 0, 1, 0, 0x4F, 0, 0xC2, 0x40, 0xB0, 0};
  };
  auto plain = [](uint8_t cmd) { return Bytes{0x85, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, cmd, 0}; };
  const SgCase cases[] = {
      {0xD0, 0, smart(0xD0, 0), -3, 512}, {0xD1, 0, smart(0xD1, 0), -3, 512},       {0xD2, 1, smart(0xD2, 0xF1), -1, 0},
      {0xD2, 0, smart(0xD2, 0), -1, 0},   {0xD4, 0x1234, smart(0xD4, 0x34), -1, 0}, {0xD8, 0, smart(0xD8, 0), -1, 0},
      {0xD9, 0, smart(0xD9, 0), -1, 0},   {0xDA, 0, smart(0xDA, 0), -3, 8},         {0xE0, 0, plain(0xE0), -1, 0},
      {0xE7, 0, plain(0xE7), -1, 0},      {0xEC, 0, plain(0xEC), -3, 512},
  };
  for (const auto& c : cases) {
    uint8_t data[512];
    const bool sector = c.cmd == 0xD0 || c.cmd == 0xD1 || c.cmd == 0xEC;
    void* arg = sector ? static_cast<void*>(data) : reinterpret_cast<void*>(c.arg);
    tav::SgIoHdr seen = {};
    // Peek at the header as the driver receives it.
    class Spy final : public sim::Device {
     public:
      explicit Spy(tav::SgIoHdr* out) : out_(out) {}
      int ioctl(sim::OpenFile& f, unsigned long, void* a) override {
        *out_ = *static_cast<tav::SgIoHdr*>(a);
        const uint8_t* cdb = out_->cmdp;
        f.request->bytes.assign(cdb, cdb + 16);
        return 0;
      }
      tav::SgIoHdr* out_;
    };
    board().add("/dev/sdz", std::make_shared<Spy>(&seen));
    int fd = sys::open("/dev/sdz", O_RDWR);
    board().clear_log();
    std::string out, err;
    tavtest::run_capture([&] { tav::sata_command_interface(fd, c.cmd, arg); }, &out, &err);
    sys::close(fd);
    EXPECT_EQ(board().log_of(sim::Call::Ioctl).back().bytes, c.cdb) << std::hex << c.cmd;
    EXPECT_EQ(board().log_of(sim::Call::Ioctl).back().request, tav::SG_IO);
    EXPECT_EQ(seen.interface_id, 'S');
    EXPECT_EQ(seen.dxfer_direction, c.direction) << std::hex << c.cmd;
    EXPECT_EQ(seen.dxfer_len, c.length) << std::hex << c.cmd;
    EXPECT_EQ(seen.cmd_len, 16);
    EXPECT_EQ(seen.mx_sb_len, 32);
    EXPECT_EQ(seen.flags, 1u);
    EXPECT_EQ(seen.timeout, 0u);
  }
}

TEST_F(Ata, key_area_parameter_block_interleaves_the_halves) {
  uint8_t first[32], second[32];
  for (int i = 0; i < 32; ++i) {
    first[i] = static_cast<uint8_t>(i);
    second[i] = static_cast<uint8_t>(0x80 + i);
  }
  ASSERT_EQ(tav::SetAtaKeyArea("/dev/sda", first, second, 3), 0);
  Bytes want(80, 0);
  want[0] = 'w';
  want[1] = 3;
  for (int g = 0; g < 4; ++g)
    for (int i = 0; i < 8; ++i) {
      want[16 + 16 * g + i] = static_cast<uint8_t>(8 * g + i);
      want[24 + 16 * g + i] = static_cast<uint8_t>(0x80 + 8 * g + i);
    }
  EXPECT_EQ(Bytes(disk_->key_area.begin(), disk_->key_area.end()), want);
  auto sent = board().log_of(sim::Call::Ioctl).back().bytes;
  ASSERT_GE(sent.size(), 16u);
  EXPECT_EQ(Bytes(sent.begin(), sent.begin() + 6), (Bytes{0x0C, 0, 0, 0, 0x50, 0}));
  EXPECT_EQ(board().open_descriptors(), 0u);

  // A failed request leaves its descriptor open, as the layer always has.
  board().fail({sim::Call::Ioctl, "/dev/sda", tav::SG_IO, 0, EIO});
  std::string out, err;
  tavtest::run_capture([&] { EXPECT_EQ(tav::SetAtaKeyArea("/dev/sda", first, second, 3), -1); }, &out, &err);
  EXPECT_EQ(out, "SetAtaKeyArea return -1\n");
  EXPECT_EQ(board().open_descriptors(), 1u);
}

}  // namespace

namespace {

// What each transport reports back: results and the exact lines, for the
// disk's answers and for refused requests.
TEST_F(Ata, results_and_messages_of_both_transports) {
  struct Case {
    const char* what;
    std::function<void(sim::AtaDisk&, sim::Board&)> setup;
    bool sg;  // the SG_IO transport, else the legacy IDE requests
    int cmd;
    bool with_data;
    int result;
    const char* out;
  } cases[] = {
      {"sg: identify", nullptr, true, 0xEC, true, 0, ""},
      {"sg: unknown command", nullptr, true, 0x12, true, -1, "vailable scsi_cmnd_io\n"},
      {"sg: a sector command without a buffer", nullptr, true, 0xD0, false, -1, "传入参数arg有误!\n"},
      {"sg: refused request",
       [](sim::AtaDisk&, sim::Board& b) {
         b.fail({sim::Call::Ioctl, "/dev/sda", tav::SG_IO, 0, EIO});
       },
       true, 0xD0, true, -1, "sata command 0xd0 return -1\n"},
      {"sg: bad target", [](sim::AtaDisk& d, sim::Board&) { d.sg_host_status = 4; }, true, 0xEC, true, 4,
       " BAD target. \n"},
      {"sg: aborted", [](sim::AtaDisk& d, sim::Board&) { d.sg_host_status = 5; }, true, 0xE0, false, 5,
       "Abort for some other reason. \n"},
      {"sg: bus busy", [](sim::AtaDisk& d, sim::Board&) { d.sg_host_status = 14; }, true, 0xE7, false, 14,
       "BUS stayed busy through time out period. \n"},
      {"sg: bus busy, other code", [](sim::AtaDisk& d, sim::Board&) { d.sg_host_status = 15; }, true, 0xDA, false, 15,
       "BUS stayed busy through time out period. \n"},
      {"sg: another host state passes", [](sim::AtaDisk& d, sim::Board&) { d.sg_host_status = 7; }, true, 0xE0, false,
       0, ""},
      {"sg: SMART data whose checksum is off", [](sim::AtaDisk& d, sim::Board&) { d.smart_values[0] ^= 1; }, true, 0xD0,
       true, 0, "Invalid checksum of SMART data.\n"},
      {"sg: status good", [](sim::AtaDisk& d, sim::Board&) { d.sg_status_byte = 1; }, true, 0xDA, false, 1, ""},
      {"sg: status exceeded", [](sim::AtaDisk& d, sim::Board&) { d.sg_status_byte = 2; }, true, 0xDA, false, 2, ""},
      {"sg: status unknown", [](sim::AtaDisk& d, sim::Board&) { d.sg_status_byte = 9; }, true, 0xDA, false, 3, ""},
      {"ide: unknown command", nullptr, false, 0x12, true, -1, "Unrecognized command 18\n"},
      {"ide: refused drive command",
       [](sim::AtaDisk&, sim::Board& b) {
         b.fail({sim::Call::Ioctl, "/dev/sda", tav::HDIO_DRIVE_CMD, 0, EIO});
       },
       false, 0xEC, true, -1, ""},
      {"ide: status threshold exceeded", [](sim::AtaDisk& d, sim::Board&) { d.threshold_exceeded = true; }, false, 0xDA,
       false, 1, ""},
      {"ide: status refused", [](sim::AtaDisk& d, sim::Board&) { d.smart_enabled = false; }, false, 0xDA, false, -1,
       "Error SMART Status command failed\n"},
      {"ide: SMART log write", nullptr, false, 0xD6, true, 0, ""},
      {"ide: SMART log write refused",
       [](sim::AtaDisk&, sim::Board& b) {
         b.fail({sim::Call::Ioctl, "/dev/sda", tav::HDIO_DRIVE_TASKFILE, 0, EIO});
       },
       false, 0xD6, true, -1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    board().clear_faults();
    disk_->smart_enabled = true;
    disk_->threshold_exceeded = false;
    disk_->sg_host_status = 0;
    disk_->sg_status_byte = 1;
    uint8_t sum = 0;
    for (int i = 0; i < 511; ++i) sum = static_cast<uint8_t>(sum + disk_->smart_values[i]);
    disk_->smart_values[511] = static_cast<uint8_t>(-sum);
    if (c.setup) c.setup(*disk_, board());
    uint8_t data[512] = {};
    void* arg = c.with_data ? data : nullptr;
    std::string out;
    Bytes sent;
    int rc = with_disk(
        [&](int fd) {
          return c.sg ? tav::sata_command_interface(fd, c.cmd, arg) : tav::ata_command_interface(fd, c.cmd, arg);
        },
        &out, &sent);
    EXPECT_EQ(rc, c.result);
    EXPECT_EQ(out, c.out);
  }
  std::string out, err;
  tavtest::run_capture([] { EXPECT_EQ(tav::sata_command_interface(0, 0xEC, nullptr), -1); }, &out, &err);
  EXPECT_EQ(out, "file description error 0\n");
}

}  // namespace
