#!/usr/bin/env python3
"""Reads the virtual board's console log and compares, check by check, what
the toolbox printed with what a peer tool printed on the same hardware.

Usage: compare.py [--no-watchdog] LOG

Prints the table `check | toolbox | peer | agree`; exit status 1 when a check
disagrees or is missing.
"""
import datetime
import re
import sys
from dataclasses import dataclass, field


@dataclass
class Block:
    text: str = ""
    rc: int = None
    begin: float = 0.0
    end: float = None
    lines: list = field(default_factory=list)  # (time, line)


@dataclass
class Console:
    blocks: dict
    finished: bool
    exit_time: float
    exit_status: int
    saved: list


def read_console(data):
    """Splits the timed log into the guest's blocks; the console is GBK."""
    blocks, current = {}, None
    finished, exit_time, exit_status, saved = False, None, None, []
    for raw in data.decode("gbk", errors="replace").splitlines():
        stamp, _, line = raw.partition("|")
        t = float(stamp)
        if line.startswith("@@VB begin "):
            current = blocks[line.split()[2]] = Block(begin=t)
        elif line.startswith("@@VB end ") and current is not None:
            current.rc, current.end = int(line.split()[3]), t
            current = None
        elif line == "@@VB finished":
            finished = True
        elif line.startswith("@@VB saved "):
            saved = [int(v, 16) for v in line.split()[2:]]
        elif line.startswith("@@HOST qemu exited "):
            exit_time, exit_status = t, int(line.split()[3])
        elif current is not None:
            current.text += line + "\n"
            current.lines.append((t, line))
    return Console(blocks, finished, exit_time, exit_status, saved)


class Missing(Exception):
    """A block or a value a check needs is not in the log."""


def find(pattern, text, conv=str, flags=0):
    m = re.search(pattern, text, flags | re.M)
    if m is None:
        raise Missing(pattern)
    return conv(m.group(1))


def hexint(s):
    return int(s, 16)


# --- the toolbox's formats ---------------------------------------------------

def dump_words(text):
    """himd.l: `0000:  11223344 aabbccdd ...`."""
    return [int(w, 16) for m in re.finditer(r"^[0-9a-f]{4}:\s+(.*)$", text, re.M) for w in m.group(1).split()]


def dump_bytes(text):
    """himd, himc: `00000:  41 09 ... |A.|`."""
    return [int(b, 16) for m in re.finditer(r"^[0-9a-f]{5}:\s+(.*?)\s*\|", text, re.M) for b in m.group(1).split()]


def rtc_readings(text):
    return [datetime.datetime.strptime(m, "%Y-%m-%d %H:%M:%S")
            for m in re.findall(r"^(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)$", text, re.M)]


def identify(text):
    return {
        "serial": find(r"^SerialNumber\(SN\)\s+(.*?)\s*$", text),
        "model": find(r"^ModelNumber:\s+(.*?)\s*$", text),
        "firmware": find(r"^FirmWare\(FW\):\s+(.*?)\s*$", text),
        "geometry": "%s/%s/%s" % tuple(find(r"^%s\s+(\d+)$" % k, text) for k in ("cylinders", "heads", "sectors")),
    }


SMART_FIELDS = [  # the item's label, smartctl's label
    ("offline_data_collection_status", r"Offline data collection status:"),
    ("self_test_exec_status", r"Self-test execution status:"),
    ("total_time_to_complete_off_line", r"Total time to complete Offline\s*data collection:"),
    ("offline_data_collection_capability", r"Offline data collection\s*capabilities:"),
    ("smart_capability", r"SMART capabilities:"),
    ("errorlog_capability", r"Error logging capability:"),
    ("short_test_completion_time", r"Short self-test routine\s*recommended polling time:"),
    ("extend_test_completion_time", r"Extended self-test routine\s*recommended polling time:"),
]


def smart_header(text):
    return {k: int(find(r"^%s\s+(\S+)" % k, text), 0) for k, _ in SMART_FIELDS}


def smart_rows(text):
    """The attribute table: id -> (flags, value, worst, threshold, raw).
    The name column is 40 wide and may hold spaces; the numbers follow it."""
    rows = {}
    for line in text.splitlines():
        fields = line[44:].split()
        if re.match(r"^[0-9a-f]+ ", line) and len(fields) == 6 and fields[5] in ("OK", "ILL"):
            flags, thr, value, worst, raw = fields[:5]
            rows[int(line[:4], 16)] = (int(flags, 16), int(value), int(worst), int(thr), int(raw))
    return rows


# --- the peers' formats ------------------------------------------------------

def devmem_words(text):
    return [int(v, 16) for v in re.findall(r"^0x([0-9A-Fa-f]+)$", text, re.M)]


def words_to_bytes(words):
    return [w >> (8 * i) & 0xFF for w in words for i in range(4)]


def hwclock_time(text):
    return datetime.datetime.strptime(find(r"^(\w{3} \w{3} +\d+ [\d:]+ \d{4})", text).replace("  ", " "),
                                      "%a %b %d %H:%M:%S %Y")


def smartctl_identify(text):
    return {k: find(r"^%s:\s+(.*?)\s*$" % label, text) for k, label in
            (("model", "Device Model"), ("serial", "Serial Number"), ("firmware", "Firmware Version"))}


def hdparm_identify(text):
    ids = {k: find(r"^\s*%s:\s+(.*?)\s*$" % label, text) for k, label in
           (("model", "Model Number"), ("serial", "Serial Number"), ("firmware", "Firmware Revision"))}
    ids["geometry"] = "%s/%s/%s" % tuple(find(r"^\s*%s\s+(\d+)" % k, text) for k in ("cylinders", "heads", "sectors/track"))
    return ids


def smartctl_header(text):
    return {k: int(find(label + r"\s*\(\s*(\w+)\)", text), 0) for k, label in SMART_FIELDS}


def smartctl_rows(text):
    rows = {}
    for m in re.finditer(r"^\s*(\d+) \S+\s+0x([0-9a-f]{4})\s+(\d+)\s+(\d+)\s+(\d+)\s+\S+\s+\S+\s+\S+\s+(\d+)\s*$", text, re.M):
        i, flags, value, worst, thr, raw = m.groups()
        rows[int(i)] = (int(flags, 16), int(value), int(worst), int(thr), int(raw))
    return rows


def mii_tool_regs(text):
    block = find(r"registers for MII PHY \d+:\s*\n((?:\s+[0-9a-f ]+\n)+)", text)
    return [int(v, 16) for v in block.split()]


def ethtool_link(text):
    return "up" if find(r"Link detected: (\w+)", text) == "yes" else "down"


# --- checks ------------------------------------------------------------------

def fmt_words(ws):
    return " ".join("%08x" % w for w in ws)


def fmt_bytes(bs):
    return " ".join("%02x" % b for b in bs)


class Table:
    def __init__(self, console):
        self.c = console
        self.rows = []

    def text(self, name):
        block = self.c.blocks.get(name)
        if block is None:
            raise Missing(name)
        return block.text

    def row(self, check, tool, peer, agree=None):
        self.rows.append((check, str(tool), str(peer), tool == peer if agree is None else agree))

    def run(self, check, fn):
        """One check; a missing block or value is a disagreement, not a crash."""
        try:
            fn()
        except Missing as e:
            self.rows.append((check, "missing", str(e)[:40], False))


def memory_checks(t):
    ids = devmem_words(t.text("id.devmem"))
    t.row("himd.l GIC ID registers", fmt_words(dump_words(t.text("id.himd.l"))), fmt_words(ids))
    t.row("himd GIC ID registers", fmt_bytes(dump_bytes(t.text("id.himd"))), fmt_bytes(words_to_bytes(ids)))
    old = find(r": 0x([0-9A-F]+) --> ", t.text("prio.himm"), hexint)
    new = find(r" --> 0x([0-9A-F]+)", t.text("prio.himm"), hexint)
    if not t.c.saved:
        raise Missing("the saved priorities")
    t.row("himm reads a priority", "%08x" % old, "%08x" % t.c.saved[0])
    t.row("himm writes a priority", "%08x" % new, fmt_words(devmem_words(t.text("prio.himm.devmem"))))
    t.row("himd.l reads devmem's write", fmt_words(dump_words(t.text("prio.devmem.himd.l"))[:1]), "10203040")
    filled = devmem_words(t.text("prio.himc.devmem"))
    t.row("himc fills priorities", fmt_bytes(dump_bytes(t.text("prio.himc"))), fmt_bytes(words_to_bytes(filled)))
    dumped = [int(b, 16) for b in t.text("prio.himdb").split("====\n[END]\n")[-1].split()]
    t.row("himdb file of priorities", fmt_bytes(dumped), fmt_bytes(words_to_bytes(filled)))
    t.row("priorities restored", fmt_words(devmem_words(t.text("prio.restored"))), fmt_words(t.c.saved))


RTC_SLACK = 3


def rtc_checks(t):
    readings = rtc_readings(t.text("rtc.item"))
    if len(readings) < 12:
        raise Missing("rtc: 12 readings")
    before, after = hwclock_time(t.text("rtc.before")), hwclock_time(t.text("rtc.after"))
    # hwclock reads just before the item's first reading and just after its
    # last, which the item follows with a second's sleep: whole seconds on
    # both sides make that up to three apart.
    first, last = readings[0], readings[-1]
    t.row("rtc first reading", first, before, 0 <= (first - before).total_seconds() <= RTC_SLACK)
    t.row("rtc set time, last reading", last, after, 0 <= (after - last).total_seconds() <= RTC_SLACK)


def disk_checks(t, path):
    item = t.text("disk." + path)
    ide, ctl, hdp = identify(item), smartctl_identify(t.text("disk.smartctl")), hdparm_identify(t.text("disk.hdparm"))
    for k in ("model", "serial", "firmware"):
        peer = ctl[k] if ctl[k] == hdp[k] else "smartctl %s, hdparm %s" % (ctl[k], hdp[k])
        t.row("sda %s %s" % (path, k), ide[k], peer)
    t.row("sda %s geometry c/h/s" % path, ide["geometry"], hdp["geometry"])
    mine, theirs = smart_header(item), smartctl_header(t.text("disk.smartctl"))
    for k, _ in SMART_FIELDS:
        t.row("sda %s %s" % (path, k), mine[k], theirs[k])
    rows, peer_rows = smart_rows(item), smartctl_rows(t.text("disk.smartctl"))
    t.row("sda %s SMART attribute ids" % path, " ".join(map(str, sorted(rows))), " ".join(map(str, sorted(peer_rows))))
    for i in sorted(set(rows) | set(peer_rows)):
        show = lambda r: "-" if r is None else "flags %x, %d/%d/%d, raw %d" % r
        t.row("sda %s attribute %d value/worst/thresh" % (path, i), show(rows.get(i)), show(peer_rows.get(i)))


def ata16_trace(text):
    """The kernel's scsi_dispatch_cmd_done lines: (CDB bytes, status) each."""
    return [([int(b, 16) for b in m.group(1).split()], m.group(2))
            for m in re.finditer(r"raw=([0-9a-f ]+)\).*status=(\w+)", text)]


def command_in(trace, what, match):
    found = [t for t in trace if match(t[0])]
    if not found:
        raise Missing(what + " in the trace")
    return found[0]


def kept_checks(t, path):
    """What reached libata, from the kernel's trace, beside what the item said."""
    trace = ata16_trace(t.text("disk.%s.trace" % path))
    said = "failed" if "STANDBY IMMEDIATE return" in t.text("disk." + path) else "success"
    cdb, status = command_in(trace, "standby", lambda c: c[14] == 0xE0)
    protocol = cdb[1] >> 1 & 0xF
    # With CK_COND set, CHECK CONDITION is how the registers come back.
    if cdb[2] & 0x20 and status == "SAM_STAT_CHECK_CONDITION":
        answer = "protocol %d, registers back" % protocol
    else:
        answer = "protocol %d, %s" % (protocol, status.replace("SAM_STAT_", ""))
    if path == "ide":
        t.row("sda ide standby", said, answer, said == "success" and protocol == 3)
    else:
        # KEPT: protocol 0 is refused by libata while the item reports success.
        t.row("sda sgio standby (refused)", said, answer,
              "kept" if said == "success" and protocol == 0 and status != "SAM_STAT_GOOD" else False)
    cdb, _ = command_in(trace, "autosave", lambda c: c[14] == 0xB0 and c[4] == 0xD2)
    # KEPT: autosave goes out with sector count 0, which turns it off.
    t.row("sda %s SMART autosave count" % path, "sent", "count %d" % cdb[6], "kept" if cdb[6] == 0 else False)


def write_result(text):
    """How a PHY write ended: done, or refused with the errno's name."""
    if re.search(r"errno: 95|Operation not supported|ioctl SIOCGMIIREG failed", text):
        return "refused"
    return "done"


def mii_checks(t, nic):
    p = "mii.%s." % nic
    regs = mii_tool_regs(t.text(p + "mii-tool"))
    mine = [find(r"^regvalue (\S+)$", t.text(p + "himii.r.%d" % r), lambda v: int(v, 0)) for r in range(7)]
    t.row("%s himii.r registers 0-6" % nic, " ".join("%04x" % v for v in mine), " ".join("%04x" % v for v in regs[:7]))
    t.row("%s phy mdio register 2" % nic, find(r"value : (0x\w+)", t.text(p + "phy.mdio")), "%#x" % regs[2])
    for suffix, state in (("", "up"), (".down", "down"), (".reset", "after reset")):
        t.row("%s phy link (%s)" % (nic, state), find(r"is link (\w+)", t.text(p + "phy.link" + suffix)),
              ethtool_link(t.text(p + "ethtool" + suffix)))
    # What himii.w says, beside what the register holds afterwards.
    after = mii_tool_regs(t.text(p + "himii.w.mii-tool"))[4]
    t.row("%s himii.w register 4 := 01e1" % nic, write_result(t.text(p + "himii.w")),
          "done" if after == 0x01E1 else "refused" if after == regs[4] else "reads %04x" % after)
    t.row("%s phy reset (peer mii-tool -R)" % nic, write_result(t.text(p + "phy.reset")),
          write_result(t.text(p + "mii-tool.R")))


MTD_FIELDS = [  # the item's label, sysfs file, nanddump's label
    ("bitflips", "corrected_bits", "ECC corrected"),
    ("ECC failures", "ecc_failures", "ECC failed"),
    ("Bad blocks", "bad_blocks", "Number of bad blocks"),
    ("BBT blocks", "bbt_blocks", "Number of bbt blocks"),
]


def mtd_checks(t):
    item, sysfs, dump = t.text("mtd.item"), t.text("mtd.sysfs"), t.text("mtd.nanddump")
    for label, name, dump_label in MTD_FIELDS:
        peer = find(r"^%s (\d+)$" % name, sysfs, int)
        other = find(r"^%s: (\d+)$" % dump_label, dump, int)
        t.row("mtd_test ecc: %s" % label, find(r"^%s\s*: (-?\d+)$" % label, item, int),
              peer if peer == other else "sysfs %d, nanddump %d" % (peer, other))


def perf_checks(t):
    item, dd = t.text("perf.item"), t.text("perf.dd")
    size = find(r"^total_size = (\d+)$", item, int)
    records = find(r"^(\d+)\+0 records out$", dd, int)
    t.row("disk_perf bytes read (dd)", size, records * 1048576)
    speed = find(r"Read_Avg_speed\(sum\)\s*=\s*([\d.]+)M/s", item, float)
    m = re.search(r"^real\s+(\d+)m\s*([\d.]+)s$", dd, re.M)
    if m is None:
        raise Missing("dd time")
    dd_speed = records / max(int(m.group(1)) * 60 + float(m.group(2)), 0.01)
    # Emulated I/O varies run to run, and the item averages each call's speed
    # where dd divides bytes by time: within a factor of twenty is plausible.
    t.row("disk_perf read MiB/s (dd)", "%.0f" % speed, "%.0f" % dd_speed, dd_speed / 20 <= speed <= dd_speed * 20)
    write = t.text("perf.write")
    offset = find(r"Write_offset\s*=\s*(\d+)GB", write, int)
    written = find(r"^total_size = (\d+)$", write, int) >> 20
    t.row("disk_perf writes zeros (dd)", "%d MiB at %d GiB" % (written, offset),
          "%d MiB at 0 GiB" % find(r"^zero MiB from 0: (\d+)$", t.text("perf.write.dd"), int))


WATCHDOG_SECONDS = 29


def watchdog_checks(t):
    block = t.c.blocks.get("watchdog")
    if block is None:
        raise Missing("watchdog")
    closed = next((tm for tm, line in block.lines if "秒后开门狗复位" in line), None)
    counted = [int(n) for n in re.findall(r"^已过去(\d+)秒$", block.text, re.M)]
    if closed is None or t.c.exit_time is None:
        raise Missing("watchdog close or qemu exit")
    waited = t.c.exit_time - closed
    reset = t.c.exit_status == 0 and not t.c.finished and block.rc is None
    count = counted[-1] if counted else 0
    # Armed with 29 s and left unfed, it may not fire sooner.
    t.row("watchdog resets the board", "counted %d s" % count,
          "qemu exit after %.0f s" % waited if reset else "no reset (status %s)" % t.c.exit_status,
          reset and waited >= WATCHDOG_SECONDS and abs(waited - count) <= 3)


def build(console, watchdog=True, nics=("e1000", "e1000e")):
    t = Table(console)
    t.run("memory tools", lambda: memory_checks(t))
    t.run("rtc", lambda: rtc_checks(t))
    for path in ("ide", "sgio"):
        t.run("harddisk_info_test " + path, lambda: disk_checks(t, path))
        t.run("harddisk_info_test %s trace" % path, lambda: kept_checks(t, path))
    for nic in nics:
        t.run("mii " + nic, lambda: mii_checks(t, nic))
    t.run("mtd_test", lambda: mtd_checks(t))
    t.run("disk_perf", lambda: perf_checks(t))
    if watchdog:
        t.run("watchdog", lambda: watchdog_checks(t))
    return t.rows


def render(rows, width=44):
    cut = lambda s: s if len(s) <= width else s[:width - 3] + "..."
    verdict = lambda ok: ok if isinstance(ok, str) else "yes" if ok else "NO"
    cells = [("check", "toolbox", "peer", "agree")] + [(c, cut(a), cut(b), verdict(ok)) for c, a, b, ok in rows]
    widths = [max(len(r[i]) for r in cells) for i in range(4)]
    return "\n".join(" | ".join(r[i].ljust(widths[i]) for i in range(4)).rstrip() for r in cells)


# Behaviours the toolbox keeps on purpose, which a real disk feels; the rows
# marked "kept" show them, and a change to either disagrees.
KEPT = [
    "harddisk_info_test sends SMART autosave with sector count 0, which turns autosave off",
    "past /dev/sdh the standby goes over SG_IO with protocol 0: libata refuses it, the item reports success",
]


def main():
    watchdog = "--no-watchdog" not in sys.argv
    with open(sys.argv[-1], "rb") as f:
        rows = build(read_console(f.read()), watchdog)
    print(render(rows))
    bad = sum(1 for r in rows if r[3] is False)
    print("".join("\nkept: " + k for k in KEPT))
    print("\n%d checks, %d disagree" % (len(rows), bad))
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
