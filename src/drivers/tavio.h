// The IO control device /dev/tavio: the records its requests
// exchange.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/ioc.h"
#include "drivers/requests.h"

namespace tav {

constexpr const char* kTavioPath = "/dev/tavio";

static_assert(TAVIO_GPIO_OUT == ioc(kIocReadWrite, 'H', 0x01, 2));
static_assert(TAVIO_GPIO_IN == ioc(kIocReadWrite, 'H', 0x02, 2));
static_assert(TAVIO_GPIO_SET_HIGH == ioc(kIocReadWrite, 'H', 0x03, 2));
static_assert(TAVIO_GPIO_SET_LOW == ioc(kIocReadWrite, 'H', 0x04, 2));
static_assert(TAVIO_BUZZER_BEEP == ioc(kIocReadWrite, 'H', 0x05, 1));
static_assert(TAVIO_ALARM_IN == ioc(kIocReadWrite, 'H', 0x06, 4));
static_assert(TAVIO_ALARM_OUT == ioc(kIocReadWrite, 'H', 0x07, 4));
static_assert(TAVIO_GET_BOOTPARAM == ioc(kIocReadWrite, 'H', 0x08, 512));
static_assert(TAVIO_GET_HARDWRE_INFO == ioc(kIocReadWrite, 'H', 0x09, 256));
static_assert(TAVIO_IOP_SET_MODE == ioc(kIocReadWrite, 'H', 0x0A, 4));
static_assert(TAVIO_ENABLE_485_SEND == ioc(kIocReadWrite, 'H', 0x0B, 4));
static_assert(TAVIO_ENABLE_485_RECEIVE == ioc(kIocReadWrite, 'H', 0x0C, 4));
static_assert(TAVIO_ALARM_DETECT == ioc(kIocReadWrite, 'H', 0x0D, 1));
static_assert(TAVIO_RS485_DETECT == ioc(kIocReadWrite, 'H', 0x11, 1));
static_assert(TAVIO_HDMI_DETECT == ioc(kIocReadWrite, 'H', 0x12, 4));
static_assert(TAVIO_VGA_DETECT == ioc(kIocReadWrite, 'H', 0x13, 4));
static_assert(TAVIO_RESET_DETECT == ioc(kIocReadWrite, 'H', 0x14, 4));
static_assert(TAVIO_EXT_SLOT_INFO == ioc(kIocReadWrite, 'S', 0x01, 2));
static_assert(TAVIO_GET_HDISK_EXC == ioc(kIocNone, 0x10, 0x18, 8));

struct ExtSlotInfo {
  uint8_t slot;  // asked by the caller
  uint8_t type;  // answered by the driver
};
static_assert(sizeof(ExtSlotInfo) == 2);
constexpr uint8_t kExtBoardAlarm = 7;

// The driver reads the index, then writes the record over its upper half.
struct HdiskExcBuffer {
  uint8_t bytes[132];
};
static_assert(sizeof(HdiskExcBuffer) == 132);
constexpr size_t kHdiskExcRecordOffset = 4;
constexpr size_t kHdiskExcRecordSize = 128;

constexpr uint32_t kHardwareInfoMagic = 0x444C5043;  // "CPLD"

// 64 little-endian words held by the board CPLD.
struct HardwareInfo {
  uint32_t magic;
  uint32_t checksum;
  uint32_t pcb;
  uint32_t board;
  uint32_t firmware;
  uint32_t device_attr;
  uint32_t cpu_attr;  // upper half carries the board-variant code
  uint32_t ddr_attr;
  uint32_t ddr[8];
  uint32_t flash_attr;
  uint32_t audio_in_attr;
  uint32_t audio_out_attr;
  uint32_t video_in_attr;
  uint32_t video_out_attr;
  uint32_t video_chip_attr;
  uint32_t extension_attr;
  uint32_t mac[16];
  uint32_t rtc_attr;
  uint32_t alarm_in_attr;   // bits 4-8: number of inputs
  uint32_t alarm_out_attr;  // bits 4-8: number of outputs
  uint32_t sata_attr;
  uint32_t sas_attr;
  uint32_t mini_sas_attr;
  uint32_t usb_attr;
  uint32_t crypto_attr;
  uint32_t serial_attr;  // RS485 presence and wiring
  uint32_t pcie_attr;
  uint32_t pcie_port;
  uint32_t intelligent_attr;
  uint32_t cascade_attr;
  uint32_t panel_attr;
  uint32_t emmc_attr;
  uint32_t ssd_attr;
  uint32_t thermal_attr;
  uint32_t router_attr;
  uint32_t fpga_attr;
  uint32_t eeprom_attr;
  uint32_t eeprom_addr;
  uint32_t lcd_attr;
  uint32_t sound_attr;
  uint32_t graphic_attr;
  uint32_t boot_attr;
};
static_assert(sizeof(HardwareInfo) == 256);
static_assert(offsetof(HardwareInfo, cpu_attr) == 0x18);
static_assert(offsetof(HardwareInfo, ddr) == 0x20);
static_assert(offsetof(HardwareInfo, flash_attr) == 0x40);
static_assert(offsetof(HardwareInfo, extension_attr) == 0x58);
static_assert(offsetof(HardwareInfo, mac) == 0x5C);
static_assert(offsetof(HardwareInfo, rtc_attr) == 0x9C);
static_assert(offsetof(HardwareInfo, alarm_in_attr) == 0xA0);
static_assert(offsetof(HardwareInfo, alarm_out_attr) == 0xA4);
static_assert(offsetof(HardwareInfo, serial_attr) == 0xBC);
static_assert(offsetof(HardwareInfo, pcie_port) == 0xC4);
static_assert(offsetof(HardwareInfo, eeprom_addr) == 0xEC);
static_assert(offsetof(HardwareInfo, boot_attr) == 0xFC);

// Board-variant codes (the halfword at 0x1A masked with 0x1FC) that items act on.
constexpr unsigned kVariantAlarmSlots = 0x30;
constexpr unsigned kVariantFullDuplex485 = 0x50;
constexpr unsigned kVariantPanelTtyS3A = 0x04;
constexpr unsigned kVariantPanelTtyS3B = 0x10;

constexpr uint32_t kBootParamMagic = 0x51584D52;

struct BootParam {
  uint32_t magic;      // 0x000
  uint32_t csum;       // 0x004
  uint32_t len;        // 0x008
  uint32_t ver;        // 0x00C
  uint16_t reserved0;  // 0x010
  uint16_t dev_type;   // 0x012
  uint32_t dev_class;  // 0x014
  uint32_t link;       // 0x018
  uint8_t reserved1[20];
  uint32_t boot_type;  // 0x030
  uint16_t boot_kmem;  // 0x034
  uint16_t boot_emem;  // 0x036
  uint8_t reserved2[8];
  char cmatch[32];     // 0x040
  char dev_model[64];  // 0x060
  char prod_date[8];   // 0x0A0
  char prod_no[9];     // 0x0A8
  char write_date[8];  // 0x0B1
  uint8_t zone;        // 0x0B9
  uint8_t reserved3[2];
  uint32_t language;  // 0x0BC
  uint32_t oem_code;  // 0x0C0
  uint32_t crypto;    // 0x0C4
  uint8_t reserved4[8];
  uint16_t encode_chans;  // 0x0D0
  uint16_t decode_chans;
  uint16_t ipc_chans;
  uint16_t ivs_chans;
  uint8_t features[16];  // 0x0D8: picFormat .. IntellAlgor
  uint8_t reserved5[56];
  uint8_t mac_addr[16][6];  // 0x120
  char rand_code[6];        // 0x180
  uint8_t wifi_key[8];      // 0x186
  uint8_t reserved6[26];
  uint8_t uid[22];  // 0x1A8
  uint8_t reserved7[66];
};
static_assert(sizeof(BootParam) == 512);
static_assert(offsetof(BootParam, dev_type) == 0x12);
static_assert(offsetof(BootParam, dev_class) == 0x14);
static_assert(offsetof(BootParam, link) == 0x18);
static_assert(offsetof(BootParam, boot_type) == 0x30);
static_assert(offsetof(BootParam, boot_emem) == 0x36);
static_assert(offsetof(BootParam, cmatch) == 0x40);
static_assert(offsetof(BootParam, dev_model) == 0x60);
static_assert(offsetof(BootParam, prod_date) == 0xA0);
static_assert(offsetof(BootParam, prod_no) == 0xA8);
static_assert(offsetof(BootParam, write_date) == 0xB1);
static_assert(offsetof(BootParam, zone) == 0xB9);
static_assert(offsetof(BootParam, language) == 0xBC);
static_assert(offsetof(BootParam, crypto) == 0xC4);
static_assert(offsetof(BootParam, encode_chans) == 0xD0);
static_assert(offsetof(BootParam, ivs_chans) == 0xD6);
static_assert(offsetof(BootParam, features) == 0xD8);
static_assert(offsetof(BootParam, mac_addr) == 0x120);
static_assert(offsetof(BootParam, rand_code) == 0x180);
static_assert(offsetof(BootParam, wifi_key) == 0x186);
static_assert(offsetof(BootParam, uid) == 0x1A8);

}  // namespace tav
