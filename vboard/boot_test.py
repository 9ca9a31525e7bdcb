#!/usr/bin/env python3
"""boot.py with a stand-in qemu: the log's timing and the statuses a suite
acts on (qemu's own, 124 on a hang, 77 where qemu cannot run)."""
import os
import subprocess
import sys
import tempfile
import unittest

BOOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "boot.py")


def run_boot(fake_qemu, timeout=5):
    """Runs boot.py with fake_qemu (a shell body, or None for no qemu at all)
    first on PATH; returns (status, stdout, log text)."""
    with tempfile.TemporaryDirectory() as tmp:
        bin_dir = os.path.join(tmp, "bin")
        os.mkdir(bin_dir)
        if fake_qemu is not None:
            path = os.path.join(bin_dir, "qemu-system-aarch64")
            with open(path, "w") as f:
                f.write("#!/bin/sh\n" + fake_qemu + "\n")
            os.chmod(path, 0o755)
        log = os.path.join(tmp, "console.log")
        env = dict(os.environ, PATH=bin_dir + ":/usr/bin:/bin")
        if fake_qemu is None:
            env["PATH"] = bin_dir  # nothing else named qemu can be found
        proc = subprocess.run([sys.executable, BOOT, "k", "i", "a", "v", log, str(timeout)],
                              env=env, capture_output=True, text=True, timeout=60)
        text = ""
        if os.path.exists(log):
            with open(log) as f:
                text = f.read()
        return proc.returncode, proc.stdout, text


class Boot(unittest.TestCase):
    def test_statuses(self):
        cases = [
            # what qemu does, its script, boot.py's status, the log's last line ends with
            ("boots and powers off", "printf 'one\\r\\ntwo\\n'; exit 0", 0, "@@HOST qemu exited 0"),
            ("hangs after a line", "echo up; exec sleep 30", 124, "@@HOST qemu exited 124"),
            ("cannot start", "echo 'no KVM, no luck' >&2; exit 1", 77, "@@HOST qemu exited 1"),
            ("the guest dies after booting", "echo a; echo b; exit 3", 3, "@@HOST qemu exited 3"),
        ]
        for what, script, status, last in cases:
            with self.subTest(what):
                rc, _, log = run_boot(script, timeout=2)
                self.assertEqual(rc, status)
                self.assertTrue(log.splitlines()[-1].endswith(last), log)

    def test_lines_carry_their_arrival_time_without_carriage_returns(self):
        rc, _, log = run_boot("echo first; sleep 1; printf 'second\\r\\n'")
        self.assertEqual(rc, 0)
        stamps = {}
        for line in log.splitlines():
            t, _, text = line.partition("|")
            stamps[text] = float(t)
        self.assertIn("second", stamps)
        self.assertGreaterEqual(stamps["second"] - stamps["first"], 0.9)

    def test_no_qemu_is_a_skip_that_says_so(self):
        rc, out, _ = run_boot(None)
        self.assertEqual(rc, 77)
        self.assertIn("skipped: qemu-system-aarch64 not found", out)


if __name__ == "__main__":
    unittest.main()
