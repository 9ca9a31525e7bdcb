#!/usr/bin/env python3
"""The host's half of the virtual board on a console recorded from a real run:
every check agrees on it, and a value changed on one side makes exactly the
checks that read it disagree."""
import datetime
import os
import re
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import compare  # noqa: E402

with open(os.path.join(HERE, "testdata", "console.log"), "rb") as f:
    RECORDED = f.read()


def verdicts(data, watchdog=True):
    return {check: ok for check, _, _, ok in compare.build(compare.read_console(data), watchdog)}


def disagreeing(data, watchdog=True):
    return {check for check, ok in verdicts(data, watchdog).items() if not ok}


class RecordedRun(unittest.TestCase):
    def test_every_check_agrees(self):
        rows = verdicts(RECORDED)
        self.assertGreaterEqual(len(rows), 60)
        self.assertEqual(disagreeing(RECORDED), set())

    def test_no_watchdog_row_when_it_was_not_run(self):
        self.assertNotIn("watchdog resets the board", verdicts(RECORDED, watchdog=False))

    def test_a_value_changed_on_one_side_disagrees_where_it_is_read(self):
        cases = [
            # what changes, pattern (first match), replacement, checks that must disagree
            ("smartctl's raw value of attribute 190", rb"(Pre-fail  Always       -       )522125343",
             rb"\g<1>522125344", {"sda ide attribute 190 value/worst/thresh", "sda sgio attribute 190 value/worst/thresh"}),
            ("the item's threshold column, as a wrong offset would", rb"(\|be  Unknown attribute\s+3       )50",
             rb"\g<1>51", {"sda ide attribute 190 value/worst/thresh"}),
            ("devmem's read-back after himm", rb"\|0xA0908070\n", b"|0xA0908071\n", {"himm writes a priority"}),
            ("a register mii-tool shows on e1000", rb"1140 796d 0141 0c20", b"1140 796d 0141 0c21",
             {"e1000 himii.r registers 0-6"}),
            ("ethtool's link with the interface down", rb"Link detected: no", b"Link detected: yes",
             {"e1000 phy link (down)"}),
            ("the corrected bits in sysfs", rb"corrected_bits 1", b"corrected_bits 2", {"mtd_test ecc: bitflips"}),
            ("nanddump's failure count", rb"ECC failed: 1", b"ECC failed: 0", {"mtd_test ecc: ECC failures"}),
            ("hwclock after the item, ten seconds on", rb"08:57:\d\d 2015", b"08:57:59 2015",
             {"rtc set time, last reading"}),
            ("dd's time, a hundred times slower", rb"real\t0m ([\d.]+)s", b"real\t0m 99.00s",
             {"disk_perf read MiB/s (dd)"}),
            ("qemu stopped by the timeout", rb"qemu exited 0", b"qemu exited 124", {"watchdog resets the board"}),
            ("the guest finished instead of resetting", rb"(\|)@@VB begin watchdog", rb"\g<1>@@VB finished",
             {"watchdog"}),
            ("the standby over SG_IO sent with a protocol", rb"raw=85 00 00 (00 00 00 00 00 00 00 00 00 00 00 e0)",
             rb"raw=85 06 20 \g<1>", {"sda sgio standby (refused)"}),
            ("autosave sent with a count that turns it on", rb"(raw=85 06 20 00 d2 00 )00", rb"\g<1>f1",
             {"sda ide SMART autosave count"}),
            ("a block that never began", rb"@@VB begin mtd.item", b"@@VB begin mtd.other", {"mtd_test"}),
        ]
        for what, pattern, replacement, expected in cases:
            with self.subTest(what):
                changed, n = re.subn(pattern, replacement, RECORDED, count=1)
                self.assertEqual(n, 1, "pattern not in the recording")
                self.assertEqual(disagreeing(changed), expected)

    def test_reset_sooner_than_the_armed_timeout_disagrees(self):
        # The close line stays; qemu's exit moves to a second after it.
        close = next(re.finditer(rb"(?m)^ *([\d.]+)\|[^\n]*\xc8\xf4", RECORDED))  # the GBK line after close
        early = float(close.group(1)) + 1
        changed = re.sub(rb"(?m)^ *[\d.]+\|@@HOST", b"%9.3f|@@HOST" % early, RECORDED)
        self.assertEqual(disagreeing(changed), {"watchdog resets the board"})


class Formats(unittest.TestCase):
    def test_parsers_on_the_shapes_the_recording_lacks(self):
        ill = "%-4x%-40s%-8x%-16d%-8d%-8d%-16d%-6s" % (0xC5, "Current Pending Sector", 0x32, 10, 9, 9, 2, "ILL")
        cases = [
            # parser, text, expected
            ("an ILL row whose name has spaces", compare.smart_rows, ill + "\n",
             {0xC5: (0x32, 9, 9, 10, 2)}),
            ("the table's header is no row", compare.smart_rows,
             "%-4s%-40s%-8s%-16s%-8s%-8s%-16s%-8s\n" % ("ID", "Attribute name", "Flags", "Threshold", "Value",
                                                      "Worst", "Raw Value", "Status"), {}),
            ("smartctl's interpreted raw value is not taken for a number", compare.smartctl_rows,
             "194 Temperature_Celsius     0x0022   031   040   000    Old_age   Always       -       31 (Min/Max 20/40)\n",
             {}),
            ("a single-digit day", compare.hwclock_time, "Wed Apr  1 08:57:30 2015  0.000000 seconds\n",
             datetime.datetime(2015, 4, 1, 8, 57, 30)),
            ("words over two lines", compare.dump_words, "0000:  00000001 00000002\n0008:  ffffffff\n",
             [1, 2, 0xFFFFFFFF]),
            ("a bar in the ASCII column", compare.dump_bytes, "00000:  7c 41  ||A              |\n", [0x7C, 0x41]),
            ("registers mii-tool could not read", compare.mii_tool_regs,
             "  registers for MII PHY 1: \n    1140 ffffffff\n  product info: x\n", [0x1140, 0xFFFFFFFF]),
            ("a trace line's command and status", compare.ata16_trace,
             "cmnd=(ATA_16 - raw=85 00 e0) result=(driver=DRIVER_OK status=SAM_STAT_GOOD)\n",
             [([0x85, 0x00, 0xE0], "SAM_STAT_GOOD")]),
        ]
        for what, parse, text, expected in cases:
            with self.subTest(what):
                self.assertEqual(parse(text), expected)


if __name__ == "__main__":
    unittest.main()
