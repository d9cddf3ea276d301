"""What the end-to-end tests share: a site of their own for each test, and small clients."""

import hashlib
import os
import pathlib
import shutil
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "tools"))
import site_processes  # noqa: E402

PROGRAMS = pathlib.Path(os.environ.get("SITE_PROGRAMS", site_processes.ROOT / "build" / "debug" / "bin"))

# Far beyond what anything takes, even under a sanitizer on a loaded machine.
PATIENCE = 120


class SiteCase(unittest.TestCase):
    """A folder of state for each test; whatever was started is stopped and checked at its end."""

    site_settings = {}

    def setUp(self):
        self.state = pathlib.Path(tempfile.mkdtemp(prefix="site_")).resolve()
        self.addCleanup(shutil.rmtree, self.state, ignore_errors=True)

    def make_site(self, settings=None, site_settings=None):
        """A site on a port that the system chooses, with periodic generation off unless set otherwise."""
        site = site_processes.Site(
            PROGRAMS, self.state, 0,
            settings={"diagnostic_report.period_for_automatic_generation": 0, **(settings or {})},
            site_settings={**self.site_settings, **(site_settings or {})})
        self.addCleanup(site.stop)
        return site

    def hold_database(self, site):
        """Keeps the service waiting with its next change of the database; gives what is to be closed in the end."""
        holder = sqlite3.connect(site.working_dir / "stations_maintenance_service.db", isolation_level=None)
        self.addCleanup(holder.close)
        holder.execute("BEGIN IMMEDIATE")
        return holder

    def assert_tree_and_table_agree(self, site):
        """Every stored file is whole and has its row; every row that was placed has its file."""
        files = dict(site.reports())
        rows = {pathlib.Path(row["full_path"]): row for row in site.rows()}
        self.assertEqual(set(files), set(rows))
        for path, row in rows.items():
            self.assertEqual(files[path], row["size"], path)
            self.assertEqual(path.name, f"{row['diagnostic_id']}_{row['diagnostic_name']}")


def wait_until(condition, what, seconds=PATIENCE):
    """Waits for something that sends no signal."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"{what}: not within {seconds} s")
        time.sleep(0.02)


def curl(*arguments):
    """Runs curl; gives status code and body."""
    result = subprocess.run(["curl", "--silent", "--show-error", "--max-time", "60", "--write-out", "\n%{http_code}",
                             *map(str, arguments)], capture_output=True, text=True, errors="replace", check=False)
    body, _, status = result.stdout.rpartition("\n")
    if result.returncode != 0 and status in ("", "000"):
        raise AssertionError(f"curl {arguments}: {result.stderr}")
    return int(status), body


def sha256(content):
    return hashlib.sha256(content).hexdigest()


def file_sha256(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


class RawConnection:
    """A TCP connection on which a test writes what no client library would."""

    def __init__(self, port):
        self._socket = socket.create_connection(("127.0.0.1", port), timeout=PATIENCE)

    def send(self, data):
        self._socket.sendall(data)

    def receive(self, size=65536):
        """Some bytes; empty at the end of the connection."""
        try:
            return self._socket.recv(size)
        except ConnectionResetError:
            return b""

    def receive_until(self, mark):
        """All bytes up to and including `mark`, or to the end of the connection."""
        data = b""
        while mark not in data:
            more = self.receive()
            if not more:
                break
            data += more
        return data

    def status(self):
        """The status code of the answer that comes."""
        head = self.receive_until(b"\r\n")
        return int(head.split(b" ")[1]) if head.startswith(b"HTTP/") else 0

    def close(self):
        self._socket.close()
