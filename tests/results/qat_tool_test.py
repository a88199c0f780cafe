#!/usr/bin/env python3
"""Runs the tool qat as users do: statuses, error lines, and its files read by csv, json, sqlite3 and numpy.

    qat_tool_test.py QAT WRITE_EXAMPLE TOOL_FOLDER
"""

import csv
import fcntl
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest
import urllib.error
import urllib.request

import numpy

QAT, WRITE_EXAMPLE, TOOL_FOLDER = sys.argv[1:4]
COMMANDS = ["ls", "show", "export", "diff", "plot", "view", "watch", "check"]


def qat(*arguments, status=0, **more):
    run = subprocess.run([QAT, *map(str, arguments)], capture_output=True, text=True, timeout=60, **more)
    assert run.returncode == status, (arguments, run.returncode, run.stdout, run.stderr)
    return run


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vtio_qat_tool_"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.file = self.folder / "run.qat"
        subprocess.run([WRITE_EXAMPLE, self.file], check=True)

    def error(self, *arguments):
        """The one line on standard error of a command that is wrong."""
        run = qat(*arguments, status=2)
        self.assertEqual(run.stdout, "")
        self.assertTrue(run.stderr.startswith("qat: ") and run.stderr.count("\n") == 1, run.stderr)
        return run.stderr[5:-1]

    def test_wrong_usage(self):
        self.assertEqual(self.error("sho", self.file), "no command 'sho'; did you mean 'show'?; see qat --help")
        self.error()
        self.error("ls")
        self.assertEqual(self.error("ls", self.file, "--jsn"), "no option '--jsn'; did you mean '--json'?")
        self.assertEqual(self.error("ls", self.file, "--no-such-option"), "no option '--no-such-option'")
        self.assertEqual(self.error(), "no command; see qat --help")
        for text in ("many", "-1", "1.5", ""):
            self.assertEqual(self.error("show", self.file, "mode", "--head", text), f"--head: '{text}' is no count")
        self.assertEqual(self.error("diff", self.file, self.file, "--rtol", "1%"), "--rtol: '1%' is no number")
        self.assertIn("ends before it begins", self.error("show", self.file, "mode", "--from", 2, "--to", 1))

    def test_unreadable_input(self):
        self.assertTrue(self.error("ls", self.folder / "none.qat").startswith(f"{self.folder}/none.qat: "))
        self.assertEqual(self.error("ls", self.folder / "none.qat"),
                         f"{self.folder}/none.qat: cannot be opened: No such file or directory")
        self.assertTrue(self.error("diff", self.file, "/dev/null").startswith("/dev/null: "))
        self.assertEqual(self.error("show", self.file, "wheel.speed"),
                         f"{self.file}: no signal 'wheel.speed'; did you mean 'wheels.speed'?")
        self.assertIn("no signal matches 'x*'", self.error("export", self.file, "x*", "-o", self.folder / "x.csv"))
        self.assertEqual(qat("ls", self.file, "x*").returncode, 0)

    def test_help_has_two_examples_that_are_true(self):
        for command in COMMANDS:
            text = qat(command, "--help").stdout
            examples = [line for line in text.splitlines() if line.startswith(f"  qat {command} ")]
            self.assertEqual(len(examples), 2, text)
            for example in examples:
                for option in re.findall(r" (--[a-z-]+)", example):
                    self.assertIn(option, text)
        self.assertRegex(qat("--version").stdout, r"^qat \d+\.\d+\.\d+\n$")

    def test_man_page_and_completion_know_every_option(self):
        page = (pathlib.Path(TOOL_FOLDER) / "qat.1").read_text().replace("\\-", "-")
        completion = (pathlib.Path(TOOL_FOLDER) / "completion.bash").read_text()
        for command in COMMANDS:
            options = set(re.findall(r"--[a-z-]+", qat(command, "--help").stdout.split("Examples:")[0]))
            for option in options:
                self.assertIn(option, completion)
                if option != "--output":  # is -o there
                    self.assertIn(option, page)

    def test_completion_of_signals(self):
        self.assertEqual(qat("complete-signals", self.file, "wheels.").stdout,
                         "wheels.speed\nwheels.on\nwheels.name\n")
        # As a shell asks for it; the functions of the package bash-completion are replaced.
        script = """
            _init_completion() {
              words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD; cur=${words[cword]}; prev=${words[cword-1]}
            }
            _filedir() { COMPREPLY=("a file"); }
            __ltrim_colon_completions() { :; }
            source "$1"; shift
            COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qat
            printf '%s\\n' "${COMPREPLY[@]}"
        """

        def complete(*words):
            command = ["bash", "-c", script, "bash", pathlib.Path(TOOL_FOLDER) / "completion.bash", QAT, *words]
            return subprocess.run(command, check=True, capture_output=True, text=True).stdout.split("\n")[:-1]

        self.assertEqual(complete("sh"), ["show"])
        self.assertEqual(complete("show", ""), ["a file"])
        wheels = ["wheels.speed", "wheels.on", "wheels.name"]
        for before in ((self.file,), ("--head", "3", self.file), ("--json", self.file), ("--head=3", self.file)):
            self.assertEqual(complete("show", *before, "wheels."), wheels, before)
        self.assertEqual(complete("plot", self.file, "mode", "-o", "x.svg", "wheels."), wheels)
        self.assertEqual(complete("export", self.file, "--format", "n"), ["npz"])
        self.assertEqual(complete("diff", self.file, ""), ["a file"])
        self.assertEqual(complete("diff", self.file, "other.qat", "wheels."), wheels)
        self.assertEqual(complete("ls", self.file, "--tr"), ["--tree"])

    def test_size_of_compressed_samples_is_what_they_take(self):
        packed = self.folder / "packed.qat"
        subprocess.run([WRITE_EXAMPLE, self.file, "20", "2000"], check=True)
        subprocess.run(["h5repack", "--low=2", "--high=2", "-f", "SHUF", "-f", "GZIP=9", self.file, packed], check=True)
        sizes = re.findall(r"([0-9.]+) kB$", qat("ls", packed).stdout, re.MULTILINE)
        self.assertEqual(len(sizes), 20)
        self.assertGreater(sum(map(float, sizes)), 0)
        self.assertLess(sum(map(float, sizes)) * 1000, packed.stat().st_size)
        self.assertEqual(qat("ls", self.file).stdout.count("16.0 kB\n"), 20)

    def test_csv(self):
        out = self.folder / "x.csv"
        self.assertEqual(qat("export", self.file, "wheels.*", "mode", "charge", "late", "-o", out).stdout, "")
        self.assertNotIn(b"\n", out.read_bytes().replace(b"\r\n", b""))
        with out.open(newline="") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual(len(rows), 13)
        self.assertEqual(rows[1], {"time": "0.25", "wheels.speed": "", "wheels.on": "", "wheels.name": "", "mode": "",
                                   "charge": "", "late": str(2**60)})
        self.assertEqual(rows[2], {"time": "0.5", "wheels.speed": "0.25", "wheels.on": "1", "wheels.name": "",
                                   "mode": "ON", "charge": "10.5", "late": ""})
        self.assertEqual(rows[0]["wheels.name"], 'even, "so"')
        qat("export", self.file, "mode", "charge", "--raw", "--from", 0.5, "--to", 1, "-o", out)
        self.assertEqual(out.read_bytes(), b"time,mode,charge\r\n0.5,1,1\r\n1,0,2\r\n")
        qat("export", self.file, "wheels.speed", "late", "--every", 0.75, "--to", 1.5, "-o", out)
        self.assertEqual(out.read_bytes(),
                         b"time,wheels.speed,late\r\n0,0,\r\n0.75,0.625,%d\r\n1.5,2.25,%d\r\n" % (2**60, 2**60 + 1))

    def test_standard_output(self):
        run = qat("export", self.file, "late", "--format", "csv", "-o", "-")
        self.assertEqual(run.stdout, "".join(f"{line}\n" for line in (
            "time,late", f"0.25,{2**60}", f"1.25,{2**60 + 1}", f"2.25,{2**60 + 2}")))
        self.error("export", self.file, "--format", "npz", "-o", "-")
        self.error("export", self.file, "--format", "csv", "--split", "-o", "-")

    def test_json(self):
        out = self.folder / "x.json"
        qat("export", self.file, "-o", out)
        signals = {signal["name"]: signal for signal in json.loads(out.read_text())["signals"]}
        self.assertEqual(signals["late"]["values"], [2**60, 2**60 + 1, 2**60 + 2])
        self.assertEqual(signals["matrix"]["values"][1], [[0.5, 1.0], [1.5, 2.0]])
        self.assertEqual(signals["wave"]["values"][3], {"re": 3, "im": -0.5})
        self.assertEqual(json.loads(qat("show", self.file, "wheels.speed", "--json").stdout), signals["wheels.speed"])
        listed = json.loads(qat("ls", self.file, "--json").stdout)["signals"]
        self.assertEqual([dict(signals[record["name"]], time=0, values=0) for record in listed],
                         [dict(record, time=0, values=0) for record in listed])

    def test_numpy(self):
        out = self.folder / "x.npz"
        qat("export", self.file, "-o", out)
        with numpy.load(out, allow_pickle=False) as arrays:
            time_axis = arrays["wheels.speed.time"]
            numpy.testing.assert_array_equal(time_axis, numpy.arange(10) / 2)
            numpy.testing.assert_array_equal(arrays["wheels.speed"], time_axis**2)
            numpy.testing.assert_array_equal(arrays["matrix"],
                                             time_axis[:, None, None] * numpy.array([[1, 2], [3, 4]]))
            self.assertEqual(arrays["wave"].dtype, numpy.complex64)
            self.assertEqual(arrays["wave"][3], 3 - 0.5j)
            self.assertEqual(arrays["wheels.on"].dtype, bool)
            self.assertEqual(list(arrays["mode"][:2]), ["OFF", "ON"])
            self.assertEqual(list(arrays["wheels.name"][:2]), ['even, "so"', ""])
            self.assertEqual(list(arrays["charge"][:2]), [10, 10.5])
            self.assertEqual(arrays["late"].dtype, numpy.int64)
            self.assertEqual(len(arrays.files), 16)
        qat("export", self.file, "wheels.speed", "--every", 0.25, "-o", out)
        with numpy.load(out, allow_pickle=False) as arrays:
            numpy.testing.assert_array_equal(arrays["wheels.speed.time"], numpy.arange(19) / 4)
            numpy.testing.assert_allclose(arrays["wheels.speed"],
                                          numpy.interp(numpy.arange(19) / 4, time_axis, time_axis**2))

    def test_sqlite(self):
        out = self.folder / "x.sqlite"
        qat("export", self.file, "-o", out)
        with sqlite3.connect(out) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchone(), ("ok",))
            place, = json.loads(database.execute("SELECT samples FROM signals WHERE name = 'late'").fetchone()[0])
            rows = database.execute(f'SELECT time, "{place["columns"][0]}" FROM "{place["table"]}"').fetchall()
        self.assertEqual(rows, [(0.25, 2**60), (1.25, 2**60 + 1), (2.25, 2**60 + 2)])

    def test_diff(self):
        other = self.folder / "other.qat"
        subprocess.run([WRITE_EXAMPLE, other, "0.5"], check=True)
        qat("diff", self.file, self.file)
        report = json.loads(qat("diff", self.file, other, "--json", status=1).stdout)
        self.assertFalse(report["equal"])
        different = [signal for signal in report["signals"] if not signal["equal"]]
        self.assertEqual([signal["name"] for signal in different], ["wheels.speed"])
        self.assertEqual(different[0]["first"],
                         {"time": 2, "cell": "wheels.speed", "a": "4", "b": "4.5", "deviation": 0.5})
        qat("diff", self.file, other, "mode")
        self.assertIn("is no tolerance", self.error("diff", self.file, other, "--rtol", -1))

    def test_sweeps(self):
        sweep = self.folder / "sweep.qat"
        subprocess.run([WRITE_EXAMPLE, "--sweep", sweep], check=True)
        listed = qat("ls", sweep, "--runs", "stiffness>1", "--runs", "status=done", "s0").stdout
        self.assertEqual(len(listed.splitlines()), 3)
        self.assertIn("s0@2", qat("export", sweep, "--runs", "run=2", "s0", "--format", "csv", "-o", "-").stdout)
        self.assertIn("━ s0 (stiffness=2, material=fir)", qat("plot", sweep, "s0").stdout)
        self.assertIn("━ s0", qat("plot", sweep, "s0", "--over", "stiffness").stdout)
        qat("diff", sweep, sweep)
        qat("diff", sweep, sweep, "--run", 1)
        qat("check", sweep, status=1)
        self.assertEqual(self.error("show", sweep, "s0", "--run", 3),
                         f"{sweep}: run 3 is failed and left no results")
        self.assertIn("did you mean 'stiffness'?", self.error("ls", sweep, "--runs", "stifness>1"))

    def test_check(self):
        self.assertIn("complete and sound", qat("check", self.file).stdout)
        (self.folder / "cut.qat").write_bytes(self.file.read_bytes()[:3000])
        self.error("check", self.folder / "cut.qat")

    def test_every_command_on_every_kind_of_file(self):
        """Saved, streamed and closed, still growing, and left by a killed run: the same samples by every command."""
        files = {kind: self.folder / f"{kind}.qat" for kind in ("closed", "killed", "growing", "saved")}
        streams = {}
        for kind in ("closed", "killed", "growing"):
            streams[kind] = subprocess.Popen([WRITE_EXAMPLE, "--stream", files[kind]], stdin=subprocess.PIPE,
                                             stdout=subprocess.PIPE, text=True)
            self.addCleanup(streams[kind].communicate)
            self.addCleanup(streams[kind].kill)
            for command in ["append 20"] + ["close"] * (kind == "closed"):
                streams[kind].stdin.write(command + "\n")
                streams[kind].stdin.flush()
            for _ in range(3 if kind == "closed" else 2):
                self.assertEqual(streams[kind].stdout.readline(), "done\n")
        streams["killed"].kill()
        streams["killed"].wait()
        shutil.copy(files["closed"], files["saved"])
        pages = subprocess.run([QAT, "view", self.file, "--export", self.folder / "page"], capture_output=True)
        has_page = pages.returncode == 0
        drawn = ["svg"] * (shutil.which("gnuplot") is not None) + ["html"] * has_page
        first = json.loads(qat("show", files["closed"], "height", "--json").stdout)
        self.assertEqual(first["time"], [k / 2 for k in range(22)])
        for kind, file in files.items():
            whole = kind in ("closed", "saved")
            self.assertEqual(json.loads(qat("ls", file, "--json").stdout)["complete"], whole)
            self.assertEqual(json.loads(qat("show", file, "height", "--json").stdout), first)
            for ending in ("csv", "json", "sqlite", "npz"):
                qat("export", file, "height", "-o", self.folder / f"{kind}.{ending}")
            for ending in drawn:
                qat("plot", file, "height", "-o", self.folder / f"{kind}.{ending}")
            self.assertEqual((self.folder / f"{kind}.csv").read_bytes(), (self.folder / "closed.csv").read_bytes())
            self.assertEqual(qat("diff", files["closed"], file).stdout, "1 equal, 0 different, 0 in one file only\n")
            self.assertIn("height", qat("plot", file, "height").stdout)
            qat("view", file, "--export", self.folder / kind, status=0 if has_page else 2)
            self.assertIn("1 signal, 22 samples, last time 10.5 s", qat("check", file, status=0 if whole else 1).stdout)
        qat("check", files["killed"], "--mend")
        self.assertIn("complete and sound", qat("check", files["killed"]).stdout)
        self.assertIn("is being written by another run", self.error("check", files["growing"], "--mend"))

    def test_pictures(self):
        if shutil.which("gnuplot") is None:
            self.skipTest("gnuplot is not installed")
        svg = self.folder / "x.svg"
        qat("plot", self.file, "wheels.speed", "mode", "wheels.on", "-o", svg)
        text = svg.read_text()
        for part in ("<svg", "wheels.speed", "rad/s", "OFF", "run.qat", "time [s]"):
            self.assertIn(part, text)
        png = self.folder / "x.png"
        qat("plot", self.file, "wheels.speed", "mode", "--xy", "--compare", self.file, "-o", png)
        self.assertEqual(png.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertIn("needs gnuplot", self.error_without_gnuplot(svg))
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["run.qat", "x.png", "x.svg"])

    def error_without_gnuplot(self, out):
        return qat("plot", self.file, "mode", "-o", out, status=2, env={"PATH": "/nowhere"}).stderr

    def require_page(self):
        run = subprocess.run([QAT, "view", self.file, "--export", self.folder / "try"], capture_output=True, text=True)
        if run.returncode == 2 and "built without its page" in run.stderr:
            self.assertIn("built without its page", self.error("plot", self.file, "mode", "-o", self.folder / "x.html"))
            self.skipTest("qat was built without Node or npm")
        shutil.rmtree(self.folder / "try")

    def test_view_serves_until_it_is_interrupted(self):
        self.require_page()
        run = subprocess.Popen([QAT, "view", self.file], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(run.communicate)
        self.addCleanup(run.kill)
        address = run.stdout.readline().rstrip("\n")
        self.assertRegex(address, r"^http://127\.0\.0\.1:\d+/[0-9a-f]{32}/$")
        with urllib.request.urlopen(address) as answer:
            self.assertIn(b"<title>qat</title>", answer.read())
        with urllib.request.urlopen(address + "files") as answer:
            self.assertEqual(json.load(answer)["files"][0], json.loads(qat("ls", self.file, "--json").stdout))
        port = re.search(r":(\d+)/", address)[1]
        with self.assertRaises(urllib.error.HTTPError) as refused:
            urllib.request.urlopen(f"http://127.0.0.1:{port}/")
        self.assertEqual(refused.exception.code, 404)
        self.assertIn(f"port {port} is in use", self.error("view", self.file, "--port", port))
        run.send_signal(signal.SIGINT)
        self.assertEqual(run.wait(60), 130)
        self.assertEqual(run.stdout.read() + run.stderr.read(), "")

    def test_view_refuses_what_it_cannot_show(self):
        self.require_page()
        self.assertIn("no.qat", self.error("view", self.folder / "no.qat"))
        self.assertIn("no.qat", self.error("view", self.file, self.folder / "no.qat"))
        self.assertEqual(self.error("view", self.file, "--port", "70000"), "--port: '70000' is no port")
        self.error("view", self.file, "--port", "1", "--export", self.folder / "x")
        self.error("view", self.file, "--export", self.file)

    def test_pages_hold_their_data(self):
        self.require_page()
        out = self.folder / "x.html"
        qat("plot", self.file, "wheels.speed", "mode", "-o", out)
        text = out.read_text()
        data = json.loads(re.search(r"<script>window\.qatData=(.*?);</script>", text, re.S)[1])
        self.assertEqual(list(data["signals"]), ["a.0", "a.3"])
        self.assertIsNone(re.search(r"(src|href)=.?https?:", text))  # nothing comes from elsewhere
        qat("view", self.file, self.file, "--export", self.folder / "report")
        self.assertIn("window.qatData=", (self.folder / "report" / "index.html").read_text())
        self.assertIn("texts, which cannot be drawn", self.error("plot", self.file, "wheels.name", "-o", out))
        self.assertIn("needs two signals", self.error("plot", self.file, "mode", "--xy", "-o", out))

    def on_terminal(self, *arguments, **environment):
        """What the tool prints to a terminal."""
        leader, follower = pty.openpty()
        run = subprocess.Popen([QAT, *map(str, arguments)], stdout=follower, stderr=follower,
                               env={**os.environ, **environment})
        os.close(follower)
        text = b""
        try:
            while piece := os.read(leader, 4096):
                text += piece
        except OSError:  # the end of a terminal
            pass
        os.close(leader)
        self.assertEqual(run.wait(60), 0)
        return text.decode()

    def watch(self, *arguments):
        """Starts `qat watch` on a terminal of 80 columns and 24 lines: the process, the terminal, its attributes."""
        leader, follower = pty.openpty()
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        before = termios.tcgetattr(follower)
        run = subprocess.Popen([QAT, "watch", *map(str, arguments)], stdin=follower, stdout=follower, stderr=follower)
        self.addCleanup(os.close, leader)
        self.addCleanup(os.close, follower)
        self.addCleanup(run.kill)
        self.shown = ""
        return run, leader, lambda: self.assertEqual(termios.tcgetattr(follower), before)

    def until(self, leader, text):
        """Reads a terminal until it has shown a text."""
        end = time.monotonic() + 60
        while text not in self.shown:
            self.assertLess(time.monotonic(), end, self.shown)
            if select.select([leader], [], [], 1)[0]:
                self.shown += os.read(leader, 65536).decode(errors="replace")
        self.shown = self.shown[self.shown.index(text) + len(text):]

    def test_watch(self):
        live = self.folder / "live.qat"
        stream = subprocess.Popen([WRITE_EXAMPLE, "--stream", live], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  text=True)
        self.addCleanup(stream.communicate)

        def tell(command):
            stream.stdin.write(command + "\n")
            stream.stdin.flush()
            self.assertEqual(stream.stdout.readline(), "done\n")

        self.assertEqual(stream.stdout.readline(), "done\n")
        tell("mark")
        run, leader, is_restored = self.watch(live)
        self.until(leader, "\x1b[?1049h")
        self.until(leader, "0.5 s")
        tell("append 20")
        self.until(leader, "10.5 s")
        tell("back")
        self.until(leader, "stepped back from 10.5 to 0.5 s")
        tell("append 3")
        tell("close")
        self.until(leader, "completed")
        os.write(leader, b"q")
        self.until(leader, "\x1b[?1049l")
        self.assertEqual(run.wait(60), 0)
        self.until(leader, "live.qat: completed, last time 2 s, stepped back from 10.5 to 0.5 s")
        is_restored()

    def test_watch_ends_by_ctrl_c_and_without_a_terminal(self):
        run, leader, is_restored = self.watch(self.file, "mode")
        self.until(leader, "completed")
        run.send_signal(signal.SIGINT)
        self.until(leader, "\x1b[?1049l")
        self.assertEqual(run.wait(60), 130)
        is_restored()
        self.assertEqual(self.error("watch", self.file), "this needs a terminal")
        self.assertIn("did you mean 'mode'?", self.error("watch", self.file, "mod"))

    def test_colours_are_for_terminals_without_no_color(self):
        self.assertIn("\x1b[", self.on_terminal("show", self.file, "wheels.speed", NO_COLOR=""))
        plain = self.on_terminal("show", self.file, "wheels.speed", NO_COLOR="1")
        self.assertNotIn("\x1b[", plain)
        self.assertIn("█", plain)
        self.assertNotIn("\x1b[", qat("show", self.file, "wheels.speed").stdout)

    def test_interruption_leaves_no_file(self):
        big = self.folder / "big.qat"
        subprocess.run([WRITE_EXAMPLE, big, "1000", "5000"], check=True)
        for name, sent in (("x.csv", signal.SIGINT), ("x.sqlite", signal.SIGINT), ("x.json", signal.SIGTERM),
                           ("x.npz", signal.SIGINT)):
            run = subprocess.Popen([QAT, "export", big, "-o", self.folder / name], stderr=subprocess.PIPE)
            for _ in range(1000):  # until it writes beside the target
                if any(path.name.startswith(f".{name}") for path in self.folder.iterdir()):
                    break
                time.sleep(0.01)
            run.send_signal(sent)
            self.assertEqual(run.wait(60), 128 + sent, run.stderr.read())
            run.stderr.close()
            self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["big.qat", "run.qat"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
