"""Starts, watches and ends the processes of one small charging site: for ./run and for the end-to-end tests."""

import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import stat
import subprocess
import threading
import time
import urllib.parse

import ipc_requests

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Longest path of a socket that the system takes, and the longest name of ours below the state folder.
SOCKET_PATH_LIMIT = 107
LONGEST_SOCKET = "sockets/charging_stations_service.pub.lock"


class SiteError(Exception):
    """What went wrong, in one line for whoever started the site."""


def toml_text(text):
    """A printable text as it stands in a TOML file, with its quotes."""
    # Printable text is escaped in TOML as it is in JSON.
    return json.dumps(text, ensure_ascii=False)


class Process:
    """A running program whose log lines can be waited for. Every line also goes to a file."""

    def __init__(self, name, command, log_file, environment=None, on_line=None):
        self.name = name
        self._lines = []
        self._changed = threading.Condition()
        self._ended = False
        self._on_line = on_line
        self._log = open(log_file, "a", encoding="utf-8")
        # A session of its own: Ctrl-C is for the caller, who ends the processes in order. The kernel ends them
        # when the caller dies without having done so.
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", *map(str, command)],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, **(environment or {})}, start_new_session=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    @property
    def pid(self):
        return self._process.pid

    def lines(self):
        """All lines so far."""
        with self._changed:
            return list(self._lines)

    def wait_for(self, pattern, seconds, count=1, since=0):
        """Waits until `count` different lines match; returns the matches. `since` leaves out earlier lines."""
        expression = re.compile(pattern)
        deadline = time.monotonic() + seconds
        with self._changed:
            while True:
                matches = {}
                for line in self._lines[since:]:
                    match = expression.search(line)
                    if match:
                        matches.setdefault(match.group(0), match)
                if len(matches) >= count:
                    return list(matches.values())
                if self._ended:
                    raise SiteError(f"{self.name} ended early: {self.last_words()}")
                left = deadline - time.monotonic()
                if left <= 0:
                    raise SiteError(f"{self.name} did not come to '{pattern}' {count} times within {seconds} s "
                                    f"(got {len(matches)}): {self.last_words()}")
                self._changed.wait(left)

    def last_words(self):
        """The last error line, or else the last line."""
        with self._changed:
            errors = [line for line in self._lines if re.search(r" (error|critical) ", line)]
            return (errors or self._lines or ["no output"])[-1]

    def is_running(self):
        return self._process.poll() is None

    def stop(self, seconds=60):
        """Asks the process to end and returns its exit code; one that does not end in time is killed."""
        if self.is_running():
            self._process.send_signal(signal.SIGTERM)
        return self.wait_for_end(seconds)

    def kill(self):
        """Ends the process with SIGKILL, as a crash would."""
        if self.is_running():
            self._process.kill()
        return self.wait_for_end(60)

    def wait_for_end(self, seconds=60):
        """Waits for the process to end and returns its exit code; one that does not end in time is killed."""
        try:
            code = self._process.wait(seconds)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise SiteError(f"{self.name} did not stop within {seconds} s and was killed") from None
        finally:
            self._reader.join(10)
            self._log.close()
        return code

    def _read(self):
        for raw in self._process.stdout:
            line = raw.decode("utf-8", "replace").rstrip("\n")
            self._log.write(line + "\n")
            self._log.flush()
            with self._changed:
                self._lines.append(line)
                self._changed.notify_all()
            if self._on_line:
                self._on_line(self.name, line)
        self._process.stdout.close()
        with self._changed:
            self._ended = True
            self._changed.notify_all()


class Site:
    """One site under one folder of state: sockets, configuration, reports, firmware, logs. Programs start one by one."""

    def __init__(self, programs, state, port, settings=None, site_settings=None, on_line=None):
        self.programs = pathlib.Path(programs)
        # Without links and "..", as the service writes its paths down.
        self.state = pathlib.Path(state).resolve()
        self.port = port
        self._on_line = on_line
        self._processes = []
        self._prepare(settings or {}, site_settings or {})

    @property
    def working_dir(self):
        return self.state / "maintenance"

    @property
    def reports_root(self):
        return self.working_dir / "diagnostic_reports"

    @property
    def spool(self):
        return self.state / "site" / "spool"

    @property
    def firmware_root(self):
        return self.working_dir / "firmware"

    @property
    def environment(self):
        return {"TAVI_RUNTIME_DIR": str(self.state / "sockets")}

    def start_site(self, *more):
        """Starts the sibling services and waits until they answer."""
        site = self.start("tavi_site", "tavi_site", "--config", self.state / "config" / "site.toml",
                          "--state-dir", self.state / "site", "--port", self.port, *more)
        ready = site.wait_for(r"tavi_site is ready on \S*:(\d+)", 30)
        self.port = int(ready[0].group(1))
        return site

    def start_host(self):
        """Starts the stations maintenance service and waits until it runs."""
        host = self.start("host", "stations_maintenance_host", "--working-dir", self.working_dir,
                          "--config-dir", self.state / "config")
        host.wait_for(r"\[host\] the service is running", 60)
        return host

    def start_stations(self, count, *more, first="CS-001"):
        """Starts simulated stations, in one process; `more` are further arguments of the simulator."""
        return self.start("stations", "charging_station_simulator", "--url", f"ws://127.0.0.1:{self.port}/ocpp",
                          "--identity", first, "--count", count, "--vendor", "Acme", "--model", "X7-22",
                          "--work-dir", self.state / "stations", *more)

    def start(self, name, program, *arguments):
        """Starts one of the programs with its log in the state folder."""
        path = self.programs / program
        if not path.exists():
            raise SiteError(f"{path} is not there: build it first")
        process = Process(name, [path, *arguments], self.state / "logs" / f"{name}.log", self.environment,
                          self._on_line)
        self._processes.append(process)
        return process

    def stop(self):
        """Ends everything, the last started first. Raises when something did not end with exit code 0."""
        wrong = []
        while self._processes:
            process = self._processes.pop()
            was_running = process.is_running()
            try:
                code = process.stop()
            except SiteError as error:
                wrong.append(str(error))
                continue
            if was_running and code != 0:
                wrong.append(f"{process.name} ended with exit code {code}: {process.last_words()}")
        if wrong:
            raise SiteError("; ".join(wrong))

    def forget(self, process):
        """Leaves a process that was ended on purpose out of `stop`."""
        self._processes.remove(process)

    def ask(self, operation, *arguments, service="stations_maintenance_service", seconds=60):
        """Asks a service of the site; gives the result and the list of what comes back besides."""
        try:
            return ipc_requests.ask(self.state / "sockets", service, operation, *arguments, seconds=seconds)
        except ipc_requests.RequestError as error:
            raise SiteError(str(error)) from None

    def reports(self):
        """The files below the storage directory with their sizes, sorted."""
        if not self.reports_root.exists():
            return []
        found = []
        for path in self.reports_root.rglob("*"):
            try:
                status = path.stat()
            except FileNotFoundError:
                continue  # evicted meanwhile
            if stat.S_ISREG(status.st_mode):
                found.append((path, status.st_size))
        return sorted(found)

    def rows(self):
        """The rows of the table of reports, as dictionaries."""
        database = sqlite3.connect(f"file:{urllib.parse.quote(str(self.working_dir))}/stations_maintenance_service.db?mode=ro", uri=True,
                                   timeout=10)
        try:
            database.row_factory = sqlite3.Row
            return [dict(row) for row in database.execute("SELECT * FROM DiagnosticReports ORDER BY diagnostic_id")]
        finally:
            database.close()

    def _check_state(self):
        # The configuration separates the folders out of which firmware is delivered by ":".
        path = str(self.state)
        if ":" in path or not path.isprintable():
            raise SiteError(f"the state folder {path!r} cannot be used: its path may hold no \":\" and nothing but "
                            "printable text")

    def _prepare(self, settings, site_settings):
        self._check_state()
        longest = self.state / LONGEST_SOCKET
        if len(os.fsencode(longest)) > SOCKET_PATH_LIMIT:
            raise SiteError(f"the state folder {self.state} is too long for sockets below it: a socket's path may "
                            f"have {SOCKET_PATH_LIMIT} bytes, {longest} has {len(os.fsencode(longest))}")
        try:
            for folder in ("sockets", "config", "logs", "site", "stations", "maintenance"):
                (self.state / folder).mkdir(parents=True, exist_ok=True)
            self._write_config("stations_maintenance_service.toml", settings)
            # Stations may fetch what the maintenance service stores.
            self._write_config("site.toml", {"firmware.folders": toml_text(str(self.firmware_root)), **site_settings})
            models = "supported_stations.json"
            shutil.copyfile(ROOT / "config" / models, self.state / "config" / models)
        except OSError as error:
            raise SiteError(f"cannot use the state folder {self.state}: {error.strerror} "
                            f"({error.filename})") from None

    def _write_config(self, name, settings):
        """Copies a shipped configuration file; `settings` maps "table.key" to the TOML text of its new value."""
        table, lines, left = "", [], dict(settings)
        for line in (ROOT / "config" / name).read_text(encoding="utf-8").splitlines():
            header = re.fullmatch(r"\[(.+)\]", line)
            table = header.group(1) if header else table
            key = f"{table}.{line.split('=')[0].strip()}"
            if "=" in line and key in left:
                line = f"{line.split('=')[0].strip()} = {left.pop(key)}"
            lines.append(line)
        if left:
            raise SiteError(f"{name} has no settings named {', '.join(left)}")
        (self.state / "config" / name).write_text("\n".join(lines) + "\n", encoding="utf-8")
