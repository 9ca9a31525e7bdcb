// The USB storage test: each stick in turn, mounted on /mnt, written and read
// back with direct I/O.
#pragma once

namespace tav {

// Node names of the board's USB storage driver, the letter last.
constexpr const char* kUsbNodeFormat = "/dev/h_ms%c";
constexpr const char* kUsbMountPoint = "/mnt";
constexpr const char* kUsbTestFile = "/mnt/usbtest.dat";

}  // namespace tav
