// Every request number the toolbox sends, by the node that takes it, in one
// list: the place to check against a driver's own numbers. The records they
// carry are in each node family's header.
#pragma once

namespace tav {

// /dev/tavio (tavio.h)
// The encoded sizes are the driver's; several differ from what is passed
// (64-bit masks under a size of 4, a 132-byte buffer under 8) and stay so.
// The GPIO requests take a line word: group in bits 0-11, line in 12-14,
// level in 15.
constexpr unsigned long TAVIO_GPIO_OUT = 0xC0024801;
constexpr unsigned long TAVIO_GPIO_IN = 0xC0024802;
constexpr unsigned long TAVIO_GPIO_SET_HIGH = 0xC0024803;
constexpr unsigned long TAVIO_GPIO_SET_LOW = 0xC0024804;
constexpr unsigned long TAVIO_BUZZER_BEEP = 0xC0014805;
constexpr unsigned long TAVIO_ALARM_IN = 0xC0044806;
constexpr unsigned long TAVIO_ALARM_OUT = 0xC0044807;
constexpr unsigned long TAVIO_GET_BOOTPARAM = 0xC2004808;
constexpr unsigned long TAVIO_GET_HARDWRE_INFO = 0xC1004809;
constexpr unsigned long TAVIO_IOP_SET_MODE = 0xC004480A;
constexpr unsigned long TAVIO_ENABLE_485_SEND = 0xC004480B;     // the driver's enable485Send
constexpr unsigned long TAVIO_ENABLE_485_RECEIVE = 0xC004480C;  // the driver's enable485Receive
constexpr unsigned long TAVIO_ALARM_DETECT = 0xC001480D;
constexpr unsigned long TAVIO_RS485_DETECT = 0xC0014811;
constexpr unsigned long TAVIO_HDMI_DETECT = 0xC0044812;
constexpr unsigned long TAVIO_VGA_DETECT = 0xC0044813;
constexpr unsigned long TAVIO_RESET_DETECT = 0xC0044814;
constexpr unsigned long TAVIO_EXT_SLOT_INFO = 0xC0025301;
constexpr unsigned long TAVIO_GET_HDISK_EXC = 0x00081018;

// /dev/tavstorage, /dev/tavhdpm, /dev/tavbuffctl (storage.h)
// The driver reads and writes the records below whatever the size field says.
constexpr unsigned long STOR_CMD_GET = 0x80045301;
constexpr unsigned long STOR_CMD_SCAN_DONE = 0x80045303;
constexpr unsigned long STOR_CMD_GET_PASSWORD = 0x80045304;
constexpr unsigned long STOR_CMD_RESET_COUNT = 0x80045305;
constexpr unsigned long STOR_CMD_ERR_REQ = 0x80045306;
constexpr unsigned long HD_POWER_UP = 0x40044802;
constexpr unsigned long HD_POWER_DOWN = 0x40044803;
constexpr unsigned long HDBUFF_GET = 0xC0245301;
constexpr unsigned long HDBUFF_SET = 0xC0245302;
constexpr unsigned long HDBUFF_CLEAR = 0xC0245303;

// /dev/tavmtd and the MTD nodes (mtd.h)
constexpr unsigned long TAVMTD_NAND_ERASE = 0x40044801;
constexpr unsigned long TAVMTD_GET_BOOT_PART = 0x40044803;
constexpr unsigned long TAVMTD_ERASE_STAT = 0x40204804;
constexpr unsigned long TAVMTD_SET_PROTECT = 0x40084805;
// The ioctl's own result is the count.
constexpr unsigned long TAVMTD_GET_INTERCEPT = 0x80044806;
constexpr unsigned long TAVMTD_GET_NAND_ID = 0x40014807;

constexpr unsigned long MEMGETINFO = 0x80204D01;
constexpr unsigned long ECCGETSTATS = 0x80104D12;

// /dev/mmz_userdev and /dev/tav_memdev (mmz.h)
constexpr unsigned long MMZ_ALLOC = 0xC0906D0A;
constexpr unsigned long MMZ_GET_ATTR = 0x80906D0B;
constexpr unsigned long MMZ_FREE = 0x40906D0C;
constexpr unsigned long MMZ_MAP = 0xC0906D15;
constexpr unsigned long MMZ_UNMAP = 0xC0906D16;
constexpr unsigned long MMZ_FLUSH_DCACHE = 0x6328;  // takes a MmbInfo, though its number says no size
constexpr unsigned long MEMDEV_FLUSH = 0x40186D28;

// /dev/env (env.h)
constexpr unsigned long UBOOT_ENV_GET = 0xC1404501;
constexpr unsigned long UBOOT_ENV_SET = 0xC1404502;
constexpr unsigned long UBOOT_ENV_TOTAL = 0xC0044503;
constexpr unsigned long UBOOT_ENV_GET_KEY = 0xC0444504;
constexpr unsigned long UBOOT_ENV_TRANS_MODE = 0xC0104505;
constexpr unsigned long UBOOT_ENV_PASSWD = 0xC0444506;

// /dev/tavded (ded.h)
constexpr unsigned long TAVDED_ENCRYPT = 0x4120440B;
constexpr unsigned long TAVDED_DECRYPT = 0x4120440C;
constexpr unsigned long TAVDED_READ_WORKKEY = 0x4020440D;
constexpr unsigned long TAVDED_WRITE_WORKKEY = 0x4020440E;

// The network, temperature-sensor and fan drivers (sensors.h)
constexpr unsigned long TAVIO_NAS_KILL_DATA = 0x40014801;  // the driver's tavio_nas_kill_data
constexpr unsigned long TSENSOR_READ_TEMP = 0x40045302;
constexpr unsigned long FAN_SET_DUTY = 0x40045001;
constexpr unsigned long FAN_GET_DUTY = 0x40045002;

// /dev/tav_switch (switch.h): the older interface sends every command as number 0
constexpr unsigned long SWITCH_LEGACY_REQUEST = 0;

constexpr unsigned long SWITCH_V3_PORT_STATUS = 0xC00C5301;
constexpr unsigned long SWITCH_V3_MAC_LUT = 0xC0305302;
constexpr unsigned long SWITCH_V3_PORT_MODE = 0xC01C5303;
constexpr unsigned long SWITCH_V3_VLAN = 0xC0045304;
constexpr unsigned long SWITCH_V3_HOST_STATUS = 0xC01C5305;
constexpr unsigned long SWITCH_V3_MIRROR = 0xC01C5364;
constexpr unsigned long SWITCH_V3_MAC_SECURITY = 0xC0405365;

// i2c-dev and the vendor I2C node /dev/hi_i2c (i2c.h)
constexpr unsigned long I2C_SLAVE = 0x0706;  // argument: the 7-bit address itself
constexpr unsigned long I2C_RDWR = 0x0707;   // argument: I2cRdwrData*

constexpr unsigned long EXT_I2C_WRITE = 1;
constexpr unsigned long EXT_I2C_READ = 3;

// spidev nodes (spi.h)
constexpr unsigned long SPI_IOC_WR_MODE = 0x40016B01;    // argument: uint8_t*
constexpr unsigned long SPI_IOC_MESSAGE_1 = 0x40206B00;  // one SpiIocTransfer

// Disks: the legacy IDE requests and SCSI generic, numbered as the kernel's
// block and SCSI generic drivers number them (ata.h)
constexpr unsigned long HDIO_DRIVE_TASKFILE = 0x031D;
constexpr unsigned long HDIO_DRIVE_TASK = 0x031E;
constexpr unsigned long HDIO_DRIVE_CMD = 0x031F;
constexpr unsigned long SG_IO = 0x2285;
constexpr unsigned long HDIO_GET_IDENTITY = 0x030D;

// The block layer (block.h)
constexpr unsigned long BLKGETSIZE = 0x1260;        // capacity in 512-byte sectors, unsigned long
constexpr unsigned long BLKGETSIZE64 = 0x80081272;  // capacity in bytes, 64-bit
constexpr unsigned long BLKFLSBUF = 0x1261;         // write back and drop the device's buffers, no argument

// /dev/rtc and /dev/watchdog (rtc_watchdog.h)
constexpr unsigned long RTC_RD_TIME = 0x80247009;
constexpr unsigned long RTC_SET_TIME = 0x4024700A;

constexpr unsigned long WDIOC_SETOPTIONS = 0x80045704;
constexpr unsigned long WDIOC_KEEPALIVE = 0x80045705;
constexpr unsigned long WDIOC_SETTIMEOUT = 0xC0045706;

// Interface requests on sockets (netif.h). The names carry an underscore
// because the system headers define the plain names as macros.
constexpr unsigned long SIOC_GMIIPHY = 0x8947;
constexpr unsigned long SIOC_GMIIREG = 0x8948;
constexpr unsigned long SIOC_SMIIREG = 0x8949;

constexpr unsigned long SIOC_GIFFLAGS = 0x8913;
constexpr unsigned long SIOC_SIFFLAGS = 0x8914;
constexpr unsigned long SIOC_ETHTOOL = 0x8946;

// hidraw nodes (input.h)
constexpr unsigned long HIDIOCGRAWINFO = 0x80084803;

}  // namespace tav
