#!/usr/bin/python3
"""Runs a small charging site on this machine: sibling services, stations maintenance service, stations.

Reports: every station is asked for its diagnostics, uploads them over HTTP, and the service files them; the tree of
reports and their list are shown. Firmware: one is announced, uploaded, offered, fetched and installed by a station.
The service is asked through its command line, each command is shown. The site stays up until Ctrl-C, or ends at
once with --once.
"""

import argparse
import itertools
import json
import os
import pathlib
import queue
import re
import shlex
import signal
import socket
import sqlite3
import subprocess
import sys

import site_processes
from terminal import run_on_terminal

# Seconds that the stations may take to connect, their reports to arrive, and a firmware to be installed.
PATIENCE = 120
# Seconds between two rounds of reports while the site stays up: short, so that there is something to see.
PERIOD = 5
# Bytes of the firmware that is shown, and its version: what the stations boot with is older.
FIRMWARE_SIZE = 6_000_000
FIRMWARE_VERSION = "2.1.0"
FIRMWARE_MODEL = "X7-22"
CONTROL_PROGRAM = "stations_maintenance_ctl"
# By which a user ends it: Ctrl-C, kill, and closing the terminal.
ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

# What is worth showing while the site is up; group 1 is shown.
EVENTS = re.compile(
    r"(station \d+ \(\S+\) (?:connected|disconnected|booted.*)"
    r"|\[diagnostic_manager\] (?:File .* has been uploaded.*|Remove oldest.*|Generating period.*|Diagnostic for.*)"
    r"|\[fw_storage_mgr\] (?:firmware with id .*|Deleting firmware file.*)"
    r"|\S+ (?:downloaded|installed|reboots with) firmware .*"
    r"|(?:error|critical|warning) .*)")


class Stop(Exception):
    """The user has asked to stop."""


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="./run", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="exit code: 0 when every report arrived, the firmware was installed and everything stopped cleanly, 1 "
               "with a line that says what failed, 2 for a wrong argument")
    parser.add_argument("--programs", default=site_processes.ROOT / "build" / "debug" / "bin",
                        help=argparse.SUPPRESS)
    parser.add_argument("--state", metavar="DIR", default=site_processes.ROOT / "build" / "run_state",
                        help="folder for everything that the site keeps (default: build/run_state)")
    parser.add_argument("--port", metavar="N", type=int, default=8080,
                        help="port for stations and uploads, on 127.0.0.1 (default: 8080)")
    parser.add_argument("--stations", metavar="N", type=int, default=3,
                        help="number of simulated stations, 1 to 200 (default: 3)")
    parser.add_argument("--once", action="store_true", help="stop when the reports and the firmware have arrived")
    arguments = parser.parse_args()
    if not 1 <= arguments.stations <= 200:
        parser.error(f"--stations is {arguments.stations}, expected 1 to 200")
    if not 1 <= arguments.port <= 65535:
        parser.error(f"--port is {arguments.port}, expected 1 to 65535")
    return arguments


def check_port(port):
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", port))
        except OSError as error:
            raise site_processes.SiteError(
                f"cannot listen on 127.0.0.1:{port}: {error.strerror}; choose another port with --port") from None


def say(text):
    print(text, flush=True)


def show_tree(site):
    say(f"\nreports below {site.reports_root}:")
    previous = ()
    for path, size in site.reports():
        parts = path.relative_to(site.reports_root).parts
        for depth, part in enumerate(parts[:-1]):
            if previous[:depth + 1] != parts[:depth + 1]:
                say(f"{'  ' * (depth + 1)}{part}/")
        previous = parts[:-1]
        say(f"{'  ' * len(parts)}{parts[-1]}  {size} bytes")


class Control:
    """The command line of the service, used as an operator would; each command is shown before its output."""

    def __init__(self, site):
        self._program = site.programs / CONTROL_PROGRAM
        self._environment = {**os.environ, **site.environment}

    def show(self, *arguments):
        say(f"\n$ {CONTROL_PROGRAM} {shlex.join(map(str, arguments))}")
        say(self._run(arguments).rstrip("\n"))

    def ask(self, *arguments):
        return json.loads(self._run(("--json", *arguments)))

    def _run(self, arguments):
        code, output, errors = run_on_terminal([self._program, *arguments], self._environment)
        if code != 0:
            raise site_processes.SiteError(errors.strip() or f"{CONTROL_PROGRAM} ended with exit code {code}")
        return output


def show_reports(site, control, host, stations):
    """One report of each station, from the request to the list."""
    before = len(host.lines())
    control.show("reports", "generate", "--all")
    # The service says so of each, once it has dealt with what was uploaded.
    host.wait_for(r"\[diagnostic_manager\] Removing file .*", PATIENCE, stations, since=before)
    show_tree(site)
    control.show("reports", "list")
    filed = sum("has been uploaded on " in line for line in host.lines()[before:])
    if filed != stations:
        raise site_processes.SiteError(f"{filed} of {stations} reports were filed: {host.last_words()}")
    stored, recorded = {str(path) for path, _ in site.reports()}, {row["full_path"] for row in site.rows()}
    if stored != recorded:
        raise site_processes.SiteError(f"without file or without row: {', '.join(sorted(stored ^ recorded))}")


def find_own_firmware(listed):
    """Those of a list of firmware that an earlier run has left: of this version, and for this model alone."""
    return [one for one in listed if one["version"] == FIRMWARE_VERSION and one["models"] == [FIRMWARE_MODEL]]


def show_firmware(site, control, services, stations):
    """A firmware's way from an operator's file into a station."""
    file = site.state / "firmware_to_announce" / f"{FIRMWARE_MODEL}_{FIRMWARE_VERSION}.bin"
    file.parent.mkdir(exist_ok=True)
    file.write_bytes(os.urandom(FIRMWARE_SIZE))
    # A state folder that was used before holds this version already; whatever else it holds is the user's.
    for old in find_own_firmware(control.ask("firmware", "list")):
        control.ask("firmware", "delete", old["id"], "--yes")
    control.show("firmware", "add", file, "--model", FIRMWARE_MODEL, "--version", FIRMWARE_VERSION)
    digest = show_digest(file)
    control.show("firmware", "available", "--station", 1)
    offered = control.ask("firmware", "available", "--station", 1)
    shown = [one for one in offered if one["hash"] == digest]
    if len(shown) != 1:
        raise site_processes.SiteError(f"the service offers {offered}, expected one firmware with the hash {digest}")
    deliver(site, services, stations, shown[0], digest)


def show_digest(file):
    """The SHA-256 of a file as the system's own program tells it."""
    say(f"\n$ sha256sum {shlex.quote(str(file))}")
    told = subprocess.run(["sha256sum", "--", file], capture_output=True, text=True, errors="surrogateescape",
                          check=False)
    if told.returncode != 0:
        raise site_processes.SiteError(told.stderr.strip())
    say(told.stdout.rstrip("\n"))
    # A backslash before the digest says that the name that follows is escaped.
    return told.stdout.lstrip("\\").split(" ", 1)[0]


def deliver(site, services, stations, firmware, digest):
    """Has the site send UpdateFirmware to the first station, and waits until that has installed it."""
    stored = firmware["path"]
    seen, booted = len(stations.lines()), len(services.lines())
    result, _ = site.ask("request_firmware_update", 1, stored, service="ocpp_1_6_service")
    if result != 0:
        raise site_processes.SiteError(f"the site could not send UpdateFirmware to station 1: result {result}")
    say("\nthe site has sent UpdateFirmware to station 1")
    for step in (rf"\S+ downloaded firmware .*{digest}", r"\S+ installed firmware .*", r"\S+ reboots with firmware .*"):
        say(f"  {stations.wait_for(step, PATIENCE, since=seen)[0].group(0)}")
    services.wait_for(r"station 1 \(\S+\) booted", PATIENCE, since=booted)
    say("  station 1 has booted with it")


class FunctionalLog:
    """What the site's event log gains from now on: its folder may hold entries of earlier runs."""

    def __init__(self, folder):
        self._folder = folder
        try:
            status = (folder / "events.jsonl").stat()
            self._begin = (status.st_ino, status.st_size)
        except FileNotFoundError:
            self._begin = (None, 0)

    def show(self):
        say("\nfunctional log:")
        for line in self.lines():
            entry = json.loads(line)
            say(f"  {entry['time']}  {entry['subtype']}  {entry['text']}")

    def lines(self):
        # A full file is renamed: what was its end in the beginning may stand in an older one by now.
        lines = []
        for age in itertools.count():
            try:
                file = open(self._folder / (f"events.{age}.jsonl" if age else "events.jsonl"), encoding="utf-8")
            except FileNotFoundError:
                return lines
            with file:
                is_first = os.fstat(file.fileno()).st_ino == self._begin[0]
                if is_first:
                    file.seek(self._begin[1])
                lines = file.read().splitlines() + lines
            if is_first:
                return lines


def run(arguments, events):
    check_port(arguments.port)
    site = site_processes.Site(
        arguments.programs, arguments.state, arguments.port,
        settings={"diagnostic_report.period_for_automatic_generation": 0},
        on_line=lambda name, line: events.put((name, line)))
    log = FunctionalLog(site.state / "site" / "event_log")
    try:
        services = site.start_site()
        say(f"tavi_site listens on 127.0.0.1:{site.port}")
        stations = site.start_stations(arguments.stations)
        stations.wait_for(r"\S+ connected", PATIENCE, arguments.stations)
        services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, arguments.stations)
        say(f"{arguments.stations} stations have booted")
        host = site.start_host()
        say("the stations maintenance service runs; below, its command line with TAVI_RUNTIME_DIR="
            + site.environment["TAVI_RUNTIME_DIR"])
        control = Control(site)
        show_reports(site, control, host, arguments.stations)
        show_firmware(site, control, services, stations)
        log.show()
        if not arguments.once:
            control.show("config", "set", "--period", f"{PERIOD}s")
            show_events(events)
    finally:
        # From here on Ctrl-C would only leave processes behind.
        for number in ENDING_SIGNALS:
            signal.signal(number, signal.SIG_IGN)
        site.stop()
    say(f"\neverything has stopped; state and logs are in {site.state}")


def show_events(events):
    say("\nthe site stays up, Ctrl-C stops it; events:")
    while not events.empty():
        events.get()
    while True:
        name, line = events.get()
        match = EVENTS.search(line)
        if match:
            say(f"  {name}: {match.group(1)}")


def on_signal(_number, _frame):
    raise Stop


def tell_if_heard(text, stream):
    try:
        print(text, file=stream, flush=True)
    except OSError:
        # The terminal has gone. What could not be written would be tried again at the end, and change the exit code.
        os.dup2(os.open(os.devnull, os.O_WRONLY), stream.fileno())


def main():
    arguments = parse_arguments()
    for number in ENDING_SIGNALS:
        # What is ignored from the start, as under nohup, stays so.
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, on_signal)
    try:
        run(arguments, queue.Queue())
    except Stop:
        tell_if_heard("stopped", sys.stdout)
        # Asked to stop before all was shown, or while the site was up: a success only in the second case.
        return 1 if arguments.once else 0
    except (site_processes.SiteError, OSError, sqlite3.Error) as error:
        tell_if_heard(f"run: {error}", sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
