"""What the end-to-end tests of the command line share: running it against a site of the test's own."""

import json
import os
import subprocess

from site_case import PATIENCE, PROGRAMS, SiteCase
from terminal import run_on_terminal

DONE, FAILED, USAGE, NOT_REACHABLE, TIME_OUT = range(5)
CONTROL = PROGRAMS / "stations_maintenance_ctl"


class Outcome:
    """What one run of the command line came to."""

    def __init__(self, result):
        self.code = result.returncode
        self.output = result.stdout
        self.errors = result.stderr

    @property
    def document(self):
        return json.loads(self.output)

    def __repr__(self):
        return f"exit code {self.code}\n{self.output}{self.errors}"


def control(runtime_dir, *arguments, environment=None):
    """Runs the command line without a terminal."""
    return Outcome(subprocess.run(
        [CONTROL, *map(str, arguments)], env={**os.environ, "TAVI_RUNTIME_DIR": str(runtime_dir), **(environment or {})},
        stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace", timeout=PATIENCE, check=False))


def start_control(case, runtime_dir, *arguments):
    """Starts the command line without a terminal; it is killed at the latest with the test case."""
    process = subprocess.Popen([CONTROL, *map(str, arguments)],
                               env={**os.environ, "TAVI_RUNTIME_DIR": str(runtime_dir)}, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    case.addCleanup(process.communicate)
    case.addCleanup(process.kill)
    return process


class ControlCase(SiteCase):
    """A running site with some stations, and its command line."""

    stations = 2
    settings = {}

    def setUp(self):
        super().setUp()
        self.site = self.make_site(self.settings)
        self.services = self.site.start_site()
        self.simulator = self.site.start_stations(self.stations)
        self.services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, self.stations)
        self.host = self.site.start_host()

    def run_control(self, *arguments):
        return control(self.site.environment["TAVI_RUNTIME_DIR"], *arguments)

    def succeed(self, *arguments):
        outcome = self.run_control(*arguments)
        self.assertEqual((outcome.code, outcome.errors), (DONE, ""), outcome)
        return outcome

    def on_terminal(self, *arguments):
        """What the command line writes when its standard output is a terminal without colours."""
        code, output, errors = run_on_terminal([CONTROL, *arguments], {**os.environ, **self.site.environment})
        self.assertEqual((code, errors), (DONE, ""))
        return output

    def in_colours(self, *arguments):
        """What the command line writes to a terminal that shows colours, and what it writes into a pipe."""
        environment = {**os.environ, **self.site.environment, "TERM": "xterm"}
        command = ["env", "--unset=NO_COLOR", CONTROL, *arguments]
        code, output, errors = run_on_terminal(command, environment)
        self.assertEqual((code, errors), (DONE, ""))
        piped = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                               timeout=PATIENCE, check=True)
        return output, piped.stdout

    def json(self, *arguments):
        return self.succeed("--json", *arguments).document

    def start_control(self, *arguments):
        """Starts the command line without waiting for its end; it is killed at the latest with the test."""
        return start_control(self, self.site.environment["TAVI_RUNTIME_DIR"], *arguments)

    def assert_fails(self, code, pattern, *arguments, output=None):
        """One or more lines on standard error that say why; nothing on standard output, unless a command that did some
        of its work reports that: then `output` is the pattern of the report."""
        outcome = self.run_control(*arguments)
        self.assertEqual(outcome.code, code, outcome)
        self.assertRegex(outcome.errors, pattern)
        if output is None:
            self.assertEqual(outcome.output, "", outcome)
        else:
            self.assertRegex(outcome.output, output)
        return outcome
