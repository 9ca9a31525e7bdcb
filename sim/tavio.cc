#include "tavio.h"

#include <errno.h>

#include <cstring>

namespace sim {

namespace {

using namespace tav;

void copy_str(char* dst, size_t n, const char* src) { strncpy(dst, src, n); }

// A setting the tool sends: logged, then kept.
template <class T>
int take(OpenFile& f, const void* arg, T* field) {
  f.log_sent(arg, sizeof *field);
  memcpy(field, arg, sizeof *field);
  return 0;
}

// A reading handed back as the model holds it.
template <class T>
int give(void* arg, const T& value) {
  memcpy(arg, &value, sizeof value);
  return 0;
}

void default_hw_info(HardwareInfo& h) {
  h.magic = kHardwareInfoMagic;
  h.checksum = 0x5A3C;
  h.pcb = 0x3;
  h.board = 0x1208;
  h.firmware = 0x10105;
  h.device_attr = 0x11;
  h.cpu_attr = 0x00200003;  // variant 0x20: no alarm expansion slots
  h.ddr_attr = 0x2;
  for (int i = 0; i < 8; ++i) h.ddr[i] = i < 2 ? 0x800 : 0;
  h.flash_attr = 0x41;
  h.audio_in_attr = 0x10;
  h.audio_out_attr = 0x10;
  h.video_in_attr = 0x100;
  h.video_out_attr = 0x7;
  h.video_chip_attr = 0x3521;
  h.extension_attr = 0;
  for (int i = 0; i < 16; ++i) h.mac[i] = i < 2 ? 0x1000u + static_cast<uint32_t>(i) : 0;
  h.rtc_attr = 0x1;
  h.alarm_in_attr = 16 << 4;
  h.alarm_out_attr = 4 << 4;
  h.sata_attr = 0x8;
  h.usb_attr = 0x3;
  h.serial_attr = 0x200;  // RS485 fitted, half-duplex wiring bits clear
  h.pcie_attr = 0x1;
  h.panel_attr = 0x1;
  h.emmc_attr = 0x8;
  h.thermal_attr = 0x1;
  h.eeprom_addr = 0xA0;
  h.boot_attr = 0x2;
}

void default_boot_param(BootParam& p) {
  p.magic = kBootParamMagic;
  p.csum = 0x9e21;
  p.len = sizeof p;
  p.ver = 0x102;
  p.dev_type = 0x31;
  p.dev_class = 0x7;
  p.link = 0x1;
  p.boot_type = 0x2;
  p.boot_kmem = 0x200;
  p.boot_emem = 0x600;
  copy_str(p.cmatch, sizeof p.cmatch, "NVR-16CH");
  copy_str(p.dev_model, sizeof p.dev_model, "TV-NVR-4216-P");
  copy_str(p.prod_date, sizeof p.prod_date, "191107");
  copy_str(p.prod_no, sizeof p.prod_no, "A1234567");
  copy_str(p.write_date, sizeof p.write_date, "1108");
  p.zone = 0x5;
  p.language = 0x1;
  p.oem_code = 0x88;
  p.crypto = 0;
  p.encode_chans = 16;
  p.decode_chans = 16;
  p.ipc_chans = 16;
  p.ivs_chans = 4;
  for (int i = 0; i < 16; ++i) p.features[i] = static_cast<uint8_t>(i);
  for (int i = 0; i < 16; ++i) {
    const uint8_t mac[6] = {0x00, 0x1c, 0x27, 0x10, 0x20, static_cast<uint8_t>(0x30 + i)};
    memcpy(p.mac_addr[i], mac, 6);
  }
  memcpy(p.rand_code, "K3X9QZ", 6);
  memcpy(p.wifi_key, "wifi-key", 8);
  memcpy(p.uid, "UID0123456789ABCDEFGHI", 22);
}

}  // namespace

TavioDevice::TavioDevice() {
  default_hw_info(hw_info);
  default_boot_param(boot_param);
  // The PSE port-request lines (GPIO1_4 to GPIO1_7) idle high: nothing asks for power.
  for (unsigned bit = 4; bit < 8; ++bit) gpio[1 | bit << 12] = 1;
}

uint64_t TavioDevice::alarm_inputs() const {
  unsigned outputs = alarm_out_count;
  unsigned inputs = alarm_in_count;
  if (variant == kVariantAlarmSlots && (slot_type[1] == kExtBoardAlarm || slot_type[2] == kExtBoardAlarm)) {
    inputs += 32;
    outputs += 16;
  }
  uint64_t closed = 0;
  if (loopback_plug && outputs > 0)
    for (unsigned i = 0; i < inputs && i < 64; ++i)
      if (alarm_out >> (i % outputs) & 1) closed |= uint64_t{1} << i;
  uint64_t mask = inputs >= 64 ? ~uint64_t{0} : (uint64_t{1} << inputs) - 1;
  return (closed ^ polarity) & mask;
}

// A line word in, the line's level set or read back in bit 15.
int TavioDevice::gpio_request(OpenFile& f, unsigned long request, void* arg) {
  uint16_t w;
  memcpy(&w, arg, 2);
  f.log_sent(arg, 2);
  if (request == TAVIO_GPIO_IN) {
    auto it = gpio.find(w & 0x7FFFu);
    unsigned level = it == gpio.end() ? 0 : it->second;
    w = static_cast<uint16_t>((w & 0x7FFF) | (level << 15));
    memcpy(arg, &w, 2);
    return 0;
  }
  unsigned level = request == TAVIO_GPIO_SET_HIGH ? 1 : request == TAVIO_GPIO_SET_LOW ? 0 : (w >> 15) & 1u;
  gpio[w & 0x7FFF] = level;
  return 0;
}

// Requests that name a slot or a disk and are answered about it.
int TavioDevice::indexed_request(OpenFile& f, unsigned long request, void* arg) {
  if (request == TAVIO_EXT_SLOT_INFO) {
    auto* ext = static_cast<ExtSlotInfo*>(arg);
    f.log_sent(arg, 2);
    if (ext->slot >= slot_type.size() || ext->slot == 0) return -EINVAL;
    ext->type = slot_type[ext->slot];
    return 0;
  }
  int64_t index;
  memcpy(&index, arg, 8);
  f.log_sent(arg, 8);
  if (index < 0 || index >= static_cast<int64_t>(hdisk_exc.size())) return -EINVAL;
  memcpy(static_cast<uint8_t*>(arg) + kHdiskExcRecordOffset, hdisk_exc[static_cast<size_t>(index)].data(),
         kHdiskExcRecordSize);
  return 0;
}

int TavioDevice::ioctl(OpenFile& f, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(mu_);
  switch (request) {
    case TAVIO_GPIO_OUT:
    case TAVIO_GPIO_SET_HIGH:
    case TAVIO_GPIO_SET_LOW:
    case TAVIO_GPIO_IN:
      return gpio_request(f, request, arg);
    case TAVIO_BUZZER_BEEP:
      f.log_sent(arg, 1);
      beeps.push_back(*static_cast<uint8_t*>(arg));
      return 0;
    case TAVIO_ALARM_IN:
      return give(arg, alarm_inputs());
    case TAVIO_ALARM_OUT:
      return take(f, arg, &alarm_out);
    case TAVIO_IOP_SET_MODE:
      return take(f, arg, &polarity);
    case TAVIO_GET_BOOTPARAM:
      return give(arg, boot_param);
    case TAVIO_GET_HARDWRE_INFO:
      return give(arg, hw_info);
    case TAVIO_ENABLE_485_SEND:
      return take(f, arg, &rs485_send);
    case TAVIO_ENABLE_485_RECEIVE:
      return take(f, arg, &rs485_receive);
    case TAVIO_ALARM_DETECT:
      f.log_sent(arg, 1);
      *static_cast<uint8_t*>(arg) = alarm_board ? 0 : 1;
      return 0;
    case TAVIO_RS485_DETECT:
      *static_cast<uint8_t*>(arg) = rs485_board ? 0 : 1;
      return 0;
    case TAVIO_HDMI_DETECT:
      return give(arg, hdmi);
    case TAVIO_VGA_DETECT:
      return give(arg, vga);
    case TAVIO_RESET_DETECT:
      return give(arg, reset_key);
    case TAVIO_EXT_SLOT_INFO:
    case TAVIO_GET_HDISK_EXC:
      return indexed_request(f, request, arg);
    default:
      return -ENOTTY;
  }
}

TavioDevice* tavio(Board& board) { return dynamic_cast<TavioDevice*>(board.device(kTavioPath).get()); }

void add_tavio(Board& board) { board.add(kTavioPath, std::make_shared<TavioDevice>()); }

void set_alarm_counts(Board& board, unsigned inputs, unsigned outputs) {
  TavioDevice* d = tavio(board);
  d->alarm_in_count = inputs & 0x1F;
  d->alarm_out_count = outputs & 0x1F;
  d->hw_info.alarm_in_attr = (d->hw_info.alarm_in_attr & ~0x1F0u) | (d->alarm_in_count << 4);
  d->hw_info.alarm_out_attr = (d->hw_info.alarm_out_attr & ~0x1F0u) | (d->alarm_out_count << 4);
}

void set_board_variant(Board& board, unsigned code) {
  TavioDevice* d = tavio(board);
  d->variant = code & 0x1FC;
  d->hw_info.cpu_attr = (d->hw_info.cpu_attr & ~(0x1FCu << 16)) | (d->variant << 16);
}

void remove_alarm_plug(Board& board) {
  TavioDevice* d = tavio(board);
  d->loopback_plug = false;
  d->alarm_board = false;
}

void set_bad_hw_magic(Board& board) { tavio(board)->hw_info.magic = 0x444C5044; }

void set_bad_bootparam_magic(Board& board) { tavio(board)->boot_param.magic = 0x52584D51; }

void fail_tavio_request(Board& board, unsigned long request, int err) {
  Fault f;
  f.call = Call::Ioctl;
  f.path = kTavioPath;
  f.request = request;
  f.err = err;
  board.fail(f);
}

}  // namespace sim
