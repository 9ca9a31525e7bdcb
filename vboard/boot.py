#!/usr/bin/env python3
"""Boots the virtual board and records its console, each line with the time
it arrived, so the host can tell when the guest reset.

Usage: boot.py KERNEL INITRD DISK_AHCI DISK_VIRTIO LOG [TIMEOUT_SECONDS]

Exit status: qemu's, or 124 on timeout; 77 when qemu cannot start at all.
"""
import os
import shutil
import signal
import subprocess
import sys
import time

SKIP = 77
QEMU = "qemu-system-aarch64"


def command(kernel, initrd, ahci, virtio):
    nic = "romfile="  # no option ROMs: the guest never boots from the network
    return [
        QEMU, "-M", "virt", "-cpu", "cortex-a57", "-smp", "2", "-m", "1024",
        "-nographic", "-no-reboot",
        "-kernel", kernel, "-initrd", initrd,
        # Driver-claimed regions stay readable through /dev/mem; a panic
        # resets at once, which -no-reboot turns into qemu's exit.
        "-append", "console=ttyAMA0 iomem=relaxed loglevel=1 panic=-1 " + os.environ.get("VB_CMDLINE", ""),
        "-device", "ahci,id=ahci",
        "-drive", f"if=none,id=hd,file={ahci},format=raw",
        "-device", "ide-hd,drive=hd,bus=ahci.0,model=VBOARD-DISK,serial=VB0001",
        "-drive", f"if=none,id=vd,file={virtio},format=raw",
        "-device", "virtio-blk-pci,drive=vd",
        "-netdev", "user,id=n0,restrict=on", "-device", f"e1000e,netdev=n0,{nic}",
        "-netdev", "user,id=n1,restrict=on", "-device", f"e1000,netdev=n1,{nic}",
        "-device", "i6300esb",
    ]


def main():
    kernel, initrd, ahci, virtio, log = sys.argv[1:6]
    timeout = float(sys.argv[6]) if len(sys.argv) > 6 else 400
    if shutil.which(QEMU) is None:
        print(f"vboard: skipped: {QEMU} not found (package qemu-system-arm)")
        return SKIP
    start = time.monotonic()
    proc = subprocess.Popen(command(kernel, initrd, ahci, virtio), stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    # A hung guest prints nothing, so the read below cannot watch the clock:
    # the alarm kills qemu and ends the read instead.
    timed_out = []
    signal.signal(signal.SIGALRM, lambda *_: (timed_out.append(1), proc.kill()))
    signal.alarm(int(timeout))
    lines = 0
    with open(log, "wb") as out:
        for raw in proc.stdout:
            now = time.monotonic() - start
            out.write(b"%9.3f|" % now + raw.rstrip(b"\r\n").replace(b"\r", b"") + b"\n")
            out.flush()
            lines += 1
        status = proc.wait()
        signal.alarm(0)
        if timed_out:
            status = 124
        out.write(b"%9.3f|@@HOST qemu exited %d\n" % (time.monotonic() - start, status))
    if lines <= 1 and status not in (0, 124):
        print(f"vboard: skipped: {QEMU} could not start (status {status}); see {log}")
        return SKIP
    return status


if __name__ == "__main__":
    sys.exit(main())
