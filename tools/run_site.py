#!/usr/bin/python3
"""Runs a small charging site on this machine: sibling services, stations maintenance service, stations.

Every station is asked for its diagnostics, uploads them over HTTP, and the service files them; then the tree of
reports and the rows of the table are shown. The site stays up until Ctrl-C, or ends at once with --once.
"""

import argparse
import queue
import re
import signal
import socket
import sqlite3
import sys

import site_processes

# Seconds between two rounds of reports: short, so that there is something to see.
PERIOD = 5
# Seconds that the stations may take to connect, and their reports to arrive.
PATIENCE = 120

# What is worth showing while the site is up; group 1 is shown.
EVENTS = re.compile(
    r"(station \d+ \(\S+\) (?:connected|disconnected|booted.*)"
    r"|\[diagnostic_manager\] (?:File .* has been uploaded.*|Remove oldest.*|Generating period.*|Diagnostic for.*)"
    r"|(?:error|critical|warning) .*)")


class Stop(Exception):
    """The user has asked to stop."""


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="./run", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="exit code: 0 when every report arrived and everything stopped cleanly, 1 with a line that says "
               "what failed, 2 for a wrong argument")
    parser.add_argument("--programs", default=site_processes.ROOT / "build" / "debug" / "bin",
                        help=argparse.SUPPRESS)
    parser.add_argument("--state", metavar="DIR", default=site_processes.ROOT / "build" / "run_state",
                        help="folder for everything that the site keeps (default: build/run_state)")
    parser.add_argument("--port", metavar="N", type=int, default=8080,
                        help="port for stations and uploads, on 127.0.0.1 (default: 8080)")
    parser.add_argument("--stations", metavar="N", type=int, default=3,
                        help="number of simulated stations, 1 to 200 (default: 3)")
    parser.add_argument("--once", action="store_true", help="stop when every station's report has arrived")
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


def await_reports(host, count):
    """Waits until a report of each station has been filed in this run."""
    filed = host.wait_for(r"has been uploaded on .*/station_(\d+)/", PATIENCE, count)
    stations = sorted(int(match.group(1)) for match in filed)
    say(f"reports filed for stations {', '.join(map(str, stations))}")


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


def show_rows(site):
    say("\ntable DiagnosticReports:")
    rows = site.rows()
    columns = ["diagnostic_id", "station_id", "type", "size", "timestamp_creation", "diagnostic_name"]
    cells = [columns] + [[str(row[column]) for column in columns] for row in rows]
    widths = [max(len(line[index]) for line in cells) for index in range(len(columns))]
    for line in cells:
        say("  " + "  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def run(arguments, events):
    check_port(arguments.port)
    site = site_processes.Site(
        arguments.programs, arguments.state, arguments.port,
        settings={"diagnostic_report.period_for_automatic_generation": PERIOD}, on_line=lambda name, line: events.put((name, line)))
    try:
        services = site.start_site()
        say(f"tavi_site listens on 127.0.0.1:{site.port}")
        stations = site.start_stations(arguments.stations)
        stations.wait_for(r"\S+ connected", PATIENCE, arguments.stations)
        services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, arguments.stations)
        say(f"{arguments.stations} stations have booted")
        host = site.start_host()
        say(f"the stations maintenance service runs and asks every station each {PERIOD} s")
        await_reports(host, arguments.stations)
        show_tree(site)
        show_rows(site)
        if not arguments.once:
            show_events(events)
    finally:
        # From here on Ctrl-C would only leave processes behind.
        for number in (signal.SIGINT, signal.SIGTERM):
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


def main():
    arguments = parse_arguments()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, on_signal)
    try:
        run(arguments, queue.Queue())
    except Stop:
        # Asked to stop before the reports had arrived, or while the site was up: a success only in the second case.
        say("stopped")
        return 1 if arguments.once else 0
    except (site_processes.SiteError, OSError, sqlite3.Error) as error:
        print(f"run: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
