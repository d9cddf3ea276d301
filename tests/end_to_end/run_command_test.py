"""The command that runs a whole site: once and away, or one clear line that says why not."""

import os
import pathlib
import pty
import re
import signal
import socket
import subprocess
import sys
import unittest
import unittest.mock

from site_case import PATIENCE, PROGRAMS, SiteCase

import run_site
import terminal

RUN_SITE = pathlib.Path(__file__).resolve().parent.parent.parent / "tools" / "run_site.py"
# The command on a system that has no terminal to give.
RUN_WITHOUT_TERMINALS = f"""
import pty, sys
def refuse():
    raise OSError("out of pty devices")
pty.openpty = refuse
sys.path.insert(0, {str(RUN_SITE.parent)!r})
import run_site
sys.exit(run_site.main())
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class RunCommand(SiteCase):
    def command(self, *arguments):
        return [sys.executable, "-B", RUN_SITE, "--programs", PROGRAMS, *map(str, arguments)]

    def run_site(self, *arguments):
        return subprocess.run(self.command(*arguments), capture_output=True, text=True, timeout=3 * PATIENCE,
                              check=False)

    def assert_one_line(self, result, text):
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
        self.assertRegex(result.stderr, "^run: ")
        self.assertIn(text, result.stderr)

    def processes_of_this_site(self):
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                command = (entry / "cmdline").read_bytes() if entry.name.isdigit() else b""
            except OSError:
                continue
            if os.fsencode(self.state) in command:
                found.append(command)
        return found

    def test_once_shows_both_jobs_and_leaves_nothing_running(self):
        result = self.run_site("--state", self.state, "--port", free_port(), "--stations", 3, "--once")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")
        for station in (1, 2, 3):
            self.assertIn(f"station_{station}/", result.stdout)
        files = re.findall(r"\d+_diagnostics_\S+\.tar\.gz  [1-9]\d* bytes", result.stdout)
        self.assertGreaterEqual(len(files), 3)
        self.assertEqual(len(re.findall(r"manual +(?:now|\d+s) +\d+ B +diagnostics_", result.stdout)), 3)
        digests = set(re.findall(r"\b[0-9a-f]{64}\b", result.stdout))
        self.assertEqual(len(digests), 1, "file, store and station do not hold the same firmware")
        self.assertRegex(result.stdout, r"1 +2\.1\.0 +available")
        self.assertIn("CS-001 reboots with firmware 2.1.0", result.stdout)
        self.assertIn("New firmware available version: 2.1.0 id=1 for models: X7-22", result.stdout)
        self.assertEqual(self.processes_of_this_site(), [])

    def test_it_runs_again_over_the_same_state(self):
        state = self.state / "a folder with a blank, a %, a \\, a ' and a \""
        for _ in range(2):
            result = self.run_site("--state", state, "--port", free_port(), "--stations", 1, "--once")
            self.assertEqual(result.returncode, 0, result.stderr)
            log = result.stdout.partition("\nfunctional log:\n")[2]
            self.assertEqual(log.count("New firmware available"), 1, "the log is not that of this run alone")
        self.assertRegex(result.stdout, r"2_diagnostics_\S+\.tar\.gz")

    def test_it_goes_on_over_pipes_where_there_is_no_terminal(self):
        result = subprocess.run(
            [sys.executable, "-B", "-c", RUN_WITHOUT_TERMINALS, "--programs", PROGRAMS, "--state", self.state,
             "--port", str(free_port()), "--stations", "1", "--once"],
            capture_output=True, text=True, timeout=3 * PATIENCE, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"\n1\t1\tmanual\t")
        self.assertIn("CS-001 reboots with firmware 2.1.0", result.stdout)

    def test_whoever_is_interrupted_leaves_no_command_behind(self):
        (self.state / "file").touch()
        with unittest.mock.patch("terminal.read_to_end", side_effect=run_site.Stop), self.assertRaises(run_site.Stop):
            terminal.run_on_terminal(["tail", "-f", self.state / "file"], os.environ)
        self.assertEqual(self.processes_of_this_site(), [])

    def test_the_functional_log_of_a_run_begins_where_the_last_one_ended(self):
        current = self.state / "events.jsonl"
        whole = run_site.FunctionalLog(self.state)
        current.write_text("one\ntwo\n")
        later = run_site.FunctionalLog(self.state)
        with current.open("a") as file:
            file.write("three\n")
        self.assertEqual((whole.lines(), later.lines()), (["one", "two", "three"], ["three"]))
        # A full file is renamed.
        for age in (1, 2):
            for older in range(age, 0, -1):
                newer = self.state / f"events.{older - 1}.jsonl" if older > 1 else current
                newer.rename(self.state / f"events.{older}.jsonl")
            current.write_text(f"file {age}\n")
        self.assertEqual(later.lines(), ["three", "file 1", "file 2"])
        self.assertEqual(whole.lines(), ["one", "two", "three", "file 1", "file 2"])

    def test_it_runs_below_a_link_and_dots(self):
        (self.state / "real").mkdir()
        (self.state / "link").symlink_to("real")
        result = self.run_site("--state", self.state / "link" / ".." / "link" / "state", "--port", free_port(),
                               "--stations", 1, "--once")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue((self.state / "real" / "state").is_dir())

    def test_it_stays_up_and_ctrl_c_ends_it_cleanly(self):
        # Under nohup it outlives its terminal.
        process = subprocess.Popen(self.command("--state", self.state, "--port", free_port(), "--stations", 1),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.addCleanup(process.kill)
        self.read_until(process.stdout, "events:")
        process.send_signal(signal.SIGHUP)
        self.read_until(process.stdout, "has been uploaded on")
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, errors), (0, ""))
        self.assertEqual(self.processes_of_this_site(), [])

    def test_it_ends_all_that_it_started_when_its_terminal_goes(self):
        child, controller = pty.fork()
        if child == 0:
            os.execv(sys.executable, self.command("--state", self.state, "--port", free_port(), "--stations", 1))
        with os.fdopen(controller, errors="replace") as screen:
            self.read_until(screen, "events:")
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        self.assertEqual(self.processes_of_this_site(), [])
        self.assertEqual(code, 0)

    def read_until(self, stream, text):
        seen = ""
        while text not in seen:
            line = stream.readline()
            self.assertNotEqual(line, "", seen)
            seen += line

    def test_a_report_that_was_not_filed_is_one_line(self):
        # The second station's reports would lie where not even root can make a file.
        folder = self.state / "maintenance" / "diagnostic_reports" / "station_2"
        folder.mkdir(parents=True)
        (folder / "manual_reports").symlink_to("/proc")
        result = self.run_site("--state", self.state, "--port", free_port(), "--stations", 2, "--once")
        self.assert_one_line(result, "1 of 2 reports were filed")
        self.assertEqual(self.processes_of_this_site(), [])

    def test_a_port_in_use_is_one_line(self):
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            self.assert_one_line(self.run_site("--state", self.state, "--port", port, "--once"),
                                 f"cannot listen on 127.0.0.1:{port}: Address already in use")

    def test_a_state_path_too_long_for_a_socket_is_one_line(self):
        state = self.state / ("x" * 120)
        self.assert_one_line(self.run_site("--state", state, "--port", free_port(), "--once"), "is too long for sockets")
        self.assertFalse(state.exists())

    def test_a_state_path_that_the_configuration_cannot_name_is_one_line(self):
        for name in ("a:b", "two\nlines", os.fsdecode(b"no utf-8 \xff")):
            state = self.state / name
            self.assert_one_line(self.run_site("--state", state, "--port", free_port(), "--once"),
                                 "its path may hold no")
            self.assertFalse(state.exists())

    def test_only_what_an_earlier_run_has_left_is_its_own(self):
        own = {"id": 1, "version": "2.1.0", "models": ["X7-22"]}
        others = [{"id": 2, "version": "2.1.1", "models": ["X7-22"]}, {"id": 3, "version": None, "models": ["X7-22"]},
                  {"id": 4, "version": "2.1.0", "models": ["X7-22", "X7-44"]},
                  {"id": 5, "version": "2.1.0", "models": ["X7-44"]}]
        self.assertEqual(run_site.find_own_firmware([*others, own]), [own])
        self.assertEqual(run_site.find_own_firmware(others), [])

    def test_a_folder_that_cannot_be_made_is_one_line(self):
        (self.state / "file").write_text("in the way")
        self.assert_one_line(self.run_site("--state", self.state / "file" / "below", "--port", free_port(), "--once"),
                             "cannot use the state folder")

    def test_a_folder_that_may_not_be_written_is_one_line(self):
        self.state.chmod(0o555)
        self.assert_one_line(self.run_site_unprivileged("--state", self.state / "below", "--port", free_port()),
                             "Permission denied")

    def run_site_unprivileged(self, *arguments):
        """Runs the command in a child that has given up root's right to write everywhere."""
        errors, error_end = os.pipe()
        child = os.fork()
        if child == 0:
            os.dup2(error_end, sys.stderr.fileno())
            if os.geteuid() == 0:
                os.setgid(65534)
                os.setuid(65534)
            sys.argv = ["run", *map(str, arguments)]
            os._exit(run_site.main())
        os.close(error_end)
        with os.fdopen(errors) as pipe:
            text = pipe.read()
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        return subprocess.CompletedProcess(arguments, code, "", text)

    def test_a_wrong_argument_is_refused_with_its_value(self):
        result = self.run_site("--stations", 0)
        self.assertEqual(result.returncode, 2)
        self.assertIn("--stations is 0, expected 1 to 200", result.stderr)


if __name__ == "__main__":
    unittest.main()
