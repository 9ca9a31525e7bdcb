// The ATA command layer: exact bytes on both transports, results and messages.
#include "items/storage/ata.h"

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

TEST_F(Ata, DriveCmdAndTaskBytesForEveryCommand) {
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
  with_disk([&](int fd) { return tav::ata_command(fd, 0xD0, data); }, &out, &sent);
  EXPECT_EQ(memcmp(data, disk_->smart_values.data(), 512), 0);
}

TEST_F(Ata, ReturnStatusOverHdioReadsTheCylinderRegisters) {
  std::string out;
  Bytes sent;
  disk_->threshold_exceeded = true;
  EXPECT_EQ(with_disk([](int fd) { return tav::ata_command_interface(fd, 0xDA, nullptr); }, &out, &sent), 1);
  EXPECT_EQ(out, "");
  disk_->threshold_exceeded = false;
  EXPECT_EQ(tav::sata_status_smart("/dev/sda"), 0);
}

// A disk whose task registers come back with something else.
class OddRegisters final : public sim::Device {
 public:
  int ioctl(sim::OpenFile&, unsigned long req, void* arg) override {
    if (req != tav::HDIO_DRIVE_TASK) return -EINVAL;
    const uint8_t back[7] = {0x51, 0x04, 0x01, 0x02, 0x4F, 0x00, 0xA0};
    memcpy(arg, back, sizeof back);
    return 0;
  }
};

TEST_F(Ata, UnexpectedStatusRegistersArePrinted) {
  board().add("/dev/sdc", std::make_shared<OddRegisters>());
  std::string out, err;
  int rc = 0;
  tavtest::run_capture([&] { rc = tav::sata_status_smart("/dev/sdc"); }, &out, &err);
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(out,
            "Error SMART Status command failed\n"
            "Register values returned from SMART Status command are:\n"
            "ST =0x51\nERR=0x04\nNS =0x01\nSC =0x02\nCL =0x4f\nCH =0x00\nSEL=0xa0\n"
            "send SMART RETURN STATUS command, return -1\n");
}

TEST_F(Ata, TaskfileCommandsCarryTheirHeaderAndData) {
  uint8_t log[512];
  for (int i = 0; i < 512; ++i) log[i] = static_cast<uint8_t>(i * 7);
  std::string out;
  Bytes sent;
  EXPECT_EQ(with_disk([&](int fd) { return tav::ata_command_interface(fd, 0xD6, log); }, &out, &sent), 0);
  ASSERT_EQ(sent.size(), 48u + 512u);
  const Bytes header = {0, 0xD6, 1, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                        4, 0, 0, 0, 3, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(Bytes(sent.begin(), sent.begin() + 48), header);
  EXPECT_EQ(memcmp(sent.data() + 48, log, 512), 0);

  uint8_t record[36];
  for (int i = 0; i < 36; ++i) record[i] = static_cast<uint8_t>(0xA0 + i);
  EXPECT_EQ(with_disk([&](int fd) { return tav::ata_command_interface(fd, 0x00, record); }, &out, &sent), 0);
  ASSERT_EQ(sent.size(), 48u + 36u);
  EXPECT_EQ(sent[24], 1);   // data phase
  EXPECT_EQ(sent[28], 15);  // request command only this board's driver knows
  EXPECT_EQ(sent[40], 36);  // in size
  EXPECT_EQ(memcmp(disk_->key_record.data(), record, 36), 0);
}

TEST_F(Ata, UnknownHdioCommandSetsEnosys) {
  std::string out;
  Bytes sent;
  errno = 0;
  EXPECT_EQ(with_disk([](int fd) { return tav::ata_command_interface(fd, 0x42, nullptr); }, &out, &sent), -1);
  EXPECT_EQ(errno, ENOSYS);
  EXPECT_EQ(out, "Unrecognized command 66\n");
}

struct SgCase {
  int cmd;
  uintptr_t arg;
  Bytes cdb;
  int direction;
  unsigned length;
};

TEST_F(Ata, PassThroughCdbForEveryCommand) {
  auto smart = [](uint8_t feature, uint8_t count) {
    return Bytes{0x85, 0, 0, 0, feature, 0, count, 0, 1, 0, 0x4F, 0, 0xC2, 0x40, 0xB0, 0};
  };
  auto plain = [](uint8_t cmd) { return Bytes{0x85, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, cmd, 0}; };
  const SgCase cases[] = {
      {0xD0, 0, smart(0xD0, 0), -3, 512}, {0xD1, 0, smart(0xD1, 0), -3, 512},
      {0xD2, 1, smart(0xD2, 0xF1), -1, 0}, {0xD2, 0, smart(0xD2, 0), -1, 0},
      {0xD4, 0x1234, smart(0xD4, 0x34), -1, 0}, {0xD8, 0, smart(0xD8, 0), -1, 0},
      {0xD9, 0, smart(0xD9, 0), -1, 0},   {0xDA, 0, smart(0xDA, 0), -3, 8},
      {0xE0, 0, plain(0xE0), -1, 0},       {0xE7, 0, plain(0xE7), -1, 0},
      {0xEC, 0, plain(0xEC), -3, 512},
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

TEST_F(Ata, PassThroughResults) {
  uint8_t data[512];
  std::string out;
  Bytes sent;
  EXPECT_EQ(with_disk([&](int fd) { return tav::sata_command_interface(fd, 0xEC, data); }, &out, &sent), 0);
  EXPECT_EQ(memcmp(data, disk_->identify.data(), 512), 0);
  for (uint8_t status : {1, 2, 7}) {
    disk_->sg_status_byte = status;
    EXPECT_EQ(with_disk([](int fd) { return tav::sata_command_interface(fd, 0xDA, nullptr); }, &out, &sent),
              status == 7 ? 3 : status);
  }
  // A sector that does not sum to zero is still handed over.
  disk_->smart_values[100] ^= 0x5A;
  memset(data, 0, sizeof data);
  EXPECT_EQ(with_disk([&](int fd) { return tav::sata_command_interface(fd, 0xD0, data); }, &out, &sent), 0);
  EXPECT_EQ(out, "Invalid checksum of SMART data.\n");
  EXPECT_EQ(memcmp(data, disk_->smart_values.data(), 512), 0);
}

TEST_F(Ata, PassThroughRefusalsAndHostStates) {
  struct Case {
    int fd_offset;  // 0: the disk, -1000: descriptor 0
    int cmd;
    bool null_arg;
    uint16_t host;
    int rc;
    std::string out;
  } cases[] = {
      {-1000, 0xEC, false, 0, -1, "file description error 0\n"},
      {0, 0xDB, false, 0, -1, "vailable scsi_cmnd_io\n"},
      {0, 0x00, false, 0, -1, "vailable scsi_cmnd_io\n"},
      {0, 0xD5, false, 0, -1, "vailable scsi_cmnd_io\n"},
      {0, 0xD0, true, 0, -1, "传入参数arg有误!\n"},
      {0, 0xE0, false, 4, 4, " BAD target. \n"},
      {0, 0xE0, false, 5, 5, "Abort for some other reason. \n"},
      {0, 0xE0, false, 14, 14, "BUS stayed busy through time out period. \n"},
      {0, 0xE0, false, 15, 15, "BUS stayed busy through time out period. \n"},
      {0, 0xE0, false, 7, 0, ""},
  };
  for (const auto& c : cases) {
    disk_->sg_host_status = c.host;
    uint8_t data[512];
    std::string out;
    Bytes sent;
    int rc = with_disk(
        [&](int fd) { return tav::sata_command_interface(c.fd_offset ? 0 : fd, c.cmd, c.null_arg ? nullptr : data); },
        &out, &sent);
    EXPECT_EQ(rc, c.rc) << std::hex << c.cmd;
    EXPECT_EQ(out, c.out);
  }
  disk_->sg_host_status = 0;
  board().fail({sim::Call::Ioctl, "/dev/sda", tav::SG_IO, 0, EIO});
  std::string out;
  Bytes sent;
  EXPECT_EQ(with_disk([](int fd) { return tav::sata_command_interface(fd, 0xE7, nullptr); }, &out, &sent), -1);
  EXPECT_EQ(out, "sata command 0xe7 return -1\n");
}

TEST_F(Ata, WrappersOpenSendAndReport) {
  struct Case {
    std::function<int()> call;
    std::string fail_out;
  } cases[] = {
      {[] { return tav::ata_standby_immediate("/dev/sda"); }, "send STANDBY IMMEDIATE command, return -1\n"},
      {[] { return tav::ata_flush_cache("/dev/sda"); }, "send FLUSH CACHE command, return -1\n"},
      {[] { uint8_t b[512]; return tav::read_smart_values("/dev/sda", b); }, "send SMART READ VALUES command, return -1\n"},
      {[] { uint8_t b[512]; return tav::read_smart_thresholds("/dev/sda", b); },
       "send SMART READ THRESHOLDS command, return -1\n"},
      {[] { return tav::sata_status_smart("/dev/sda"); },
       "Error SMART Status command failed\nsend SMART RETURN STATUS command, return -1\n"},
      {[] { return tav::enable_smart("/dev/sda"); }, "send SMART ENABLE command, return -1\n"},
      {[] { return tav::disable_smart("/dev/sda"); }, "send SMART DISABLE command, return -1\n"},
      {[] { uint8_t b[512]; return tav::get_identify_result("/dev/sda", b); }, "send IDENTIFY DEVICE command, return -1\n"},
  };
  for (const auto& c : cases) {
    std::string out, err;
    int rc = 99;
    tavtest::run_capture([&] { rc = c.call(); }, &out, &err);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(board().open_descriptors(), 0u);
    board().fail({sim::Call::Ioctl, "/dev/sda", 0, 0, EIO});
    tavtest::run_capture([&] { rc = c.call(); }, &out, &err);
    board().clear_faults();
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(out, c.fail_out);
    EXPECT_EQ(board().open_descriptors(), 0u);
  }
  std::string out, err;
  tavtest::run_capture([] { tav::ata_flush_cache("/dev/sdq"); }, &out, &err);
  EXPECT_EQ(out, "open /dev/sdq failed\n");
  tavtest::run_capture([] { tav::ata_flush_cache(nullptr); }, &out, &err);
  EXPECT_EQ(out, "device name is NULL\n");
  tavtest::run_capture([] { tav::read_smart_values("/dev/sda", nullptr); }, &out, &err);
  EXPECT_EQ(out, "data buffer is NULL\n");
}

TEST_F(Ata, EnableSendsAutosaveOnlyAfterEnable) {
  disk_->smart_enabled = false;
  board().clear_log();
  EXPECT_EQ(tav::enable_smart("/dev/sda"), 0);
  EXPECT_TRUE(disk_->smart_enabled);
  auto ioctls = board().log_of(sim::Call::Ioctl);
  ASSERT_EQ(ioctls.size(), 2u);
  EXPECT_EQ(ioctls[1].request, tav::HDIO_DRIVE_TASK);
  EXPECT_EQ(ioctls[1].bytes[1], 0xD2);
  board().fail({sim::Call::Ioctl, "", tav::HDIO_DRIVE_CMD, 0, EIO});
  board().clear_log();
  std::string out, err;
  tavtest::run_capture([] { EXPECT_EQ(tav::enable_smart("/dev/sda"), -1); }, &out, &err);
  EXPECT_EQ(board().log_of(sim::Call::Ioctl).size(), 1u);
}

TEST_F(Ata, IdentifyStringsReadLeftToRightEvenAfterAFailure) {
  uint8_t id[512] = {};
  ASSERT_EQ(tav::get_identify_result("/dev/sda", id), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(id + 20), 20), "WD-TAV0000001       ");
  EXPECT_EQ(std::string(reinterpret_cast<char*>(id + 46), 8), "01.01A01");
  EXPECT_EQ(std::string(reinterpret_cast<char*>(id + 54), 40), std::string("TAV HD2000 2TB") + std::string(26, ' '));
  memcpy(id + 20, "ABCD", 4);
  board().fail({sim::Call::Ioctl, "", 0, 0, EIO});
  std::string out, err;
  tavtest::run_capture([&] { tav::get_identify_result("/dev/sda", id); }, &out, &err);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(id + 20), 4), "BADC");
}

TEST_F(Ata, KeyAreaParameterBlockInterleavesTheHalves) {
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
