"""Uploads that go wrong, against the whole site: the answer, and nothing written outside the spool."""

import os
import socket
import struct
import threading
import time
import unittest

from ocpp_station import Station
from site_case import PATIENCE, RawConnection, SiteCase, curl, wait_until

UNKNOWN = "A" * 43


class UploadCase(SiteCase):
    site_settings = {"uploads.max_file_size_mib": 1}

    def setUp(self):
        super().setUp()
        # Two folders deeper than what is watched, so that a name that leads upwards would be seen.
        self.outside = self.state
        self.state = self.state / "one" / "two"
        self.site = self.make_site({"diagnostic_report.period_for_automatic_generation": 1,
                                    "diagnostic_report.max_periodic_report_per_station": 100})
        services = self.site.start_site()
        self.station = Station(self.site.port, "CS-1")
        self.addCleanup(self.station.close)
        services.wait_for(r"station 1 \(CS-1\) booted", PATIENCE)
        self.host = self.site.start_host()

    def fresh_path(self):
        """The path of a location that the station has just been asked to upload to."""
        asked = len(self.station.locations)
        self.station.wait_for(lambda one: len(one.locations) > asked)
        return self.station.locations[-1].split(str(self.site.port), 1)[1]

    def connect(self):
        connection = RawConnection(self.site.port)
        self.addCleanup(connection.close)
        return connection

    def url(self, path):
        return f"http://127.0.0.1:{self.site.port}{path}"

    def put(self, path, content=b"content"):
        file = self.state / "to_upload"
        file.write_bytes(content)
        return curl("-T", file, self.url(path))[0]

    def head(self, path, length, more=""):
        return f"PUT {path} HTTP/1.1\r\nHost: site\r\nContent-Length: {length}\r\n{more}\r\n".encode("latin-1")

    def upload_raw(self, name):
        connection = self.connect()
        connection.send(self.head(self.fresh_path() + name, 7) + b"content")
        self.assertEqual(connection.status(), 201)

    def placed(self):
        return [row for row in self.site.rows() if row["full_path"] != "tmp"]

    def files_outside(self):
        """Every file but reports, spool, logs and databases."""
        left_out = (self.site.reports_root, self.site.spool, self.state / "logs", self.state / "site" / "event_log")
        return sorted(path for path in self.outside.rglob("*")
                      if path.is_file() and not any(folder in path.parents for folder in left_out)
                      and ".db" not in path.name)


class Uploads(UploadCase):
    def test_an_unknown_token_is_refused_before_a_body_byte_is_read(self):
        connection = self.connect()
        connection.send(self.head(f"/upload/{UNKNOWN}/a", 1_000_000, "Expect: 100-continue\r\n"))
        self.assertEqual(connection.status(), 404)

    def test_a_spent_token_is_gone(self):
        path = self.fresh_path()
        self.assertEqual(self.put(path + "first"), 201)
        self.assertEqual(self.put(path + "second"), 410)
        self.host.wait_for("File first has been uploaded", PATIENCE)

    def test_two_uploads_at_once_under_one_token_are_one(self):
        path = self.fresh_path()
        first = self.connect()
        first.send(self.head(path + "first", 10) + b"12345")
        wait_until(lambda: any(self.site.spool.iterdir()), "the first upload to begin")
        second = self.connect()
        second.send(self.head(path + "second", 10) + b"1234567890")
        self.assertEqual(second.status(), 409)
        first.send(b"67890")
        self.assertEqual(first.status(), 201)
        self.host.wait_for("File first has been uploaded", PATIENCE)

    def test_a_body_longer_than_the_limit_is_refused(self):
        path = self.fresh_path()
        self.assertEqual(self.put(path + "big", b"x" * (1024 * 1024 + 1)), 413)
        file = self.state / "to_upload"
        status, _ = curl("-T", file, "-H", "Transfer-Encoding: chunked", self.url(path + "big"))
        self.assertEqual(status, 413)
        self.assertEqual(self.put(path + "fits", b"x" * (1024 * 1024)), 201)

    def test_a_connection_cut_half_way_leaves_the_token_usable(self):
        path = self.fresh_path()
        cut = RawConnection(self.site.port)
        cut.send(self.head(path + "cut", 1000) + b"x" * 500)
        wait_until(lambda: any(self.site.spool.iterdir()), "the upload to begin")
        # A reset rather than an end, as when a cable is pulled and the station comes back.
        cut._socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        cut.close()
        wait_until(lambda: not any(self.site.spool.iterdir()), "the half upload to be removed")
        self.assertEqual(self.put(path + "whole"), 201)
        self.host.wait_for("File whole has been uploaded", PATIENCE)

    def test_names_lead_nowhere_else(self):
        names = {
            "slash": ("a/b/c.bin", "c.bin"),
            "encoded slash": ("a%2Fb.bin", "b.bin"),
            "one folder up": ("..%2Fup.bin", "up.bin"),
            "two folders up": ("..%2F..%2Fup.bin", "up.bin"),
            "four folders up": ("..%2F..%2F..%2F..%2Fup.bin", "up.bin"),
            "long": ("n" * 300 + ".bin", None),
            "no UTF-8": ("bad%FF%FEname.bin", None),
            "quotes and blanks": ("a%20%22b%22%27.bin", "a \"b\"'.bin"),
        }
        without_name = {"only dots": "..", "encoded dots": "%2E%2E", "zero byte": "a%00b", "line feed": "a%0Ab"}
        before = self.files_outside()
        filed = 0
        for situation, (presented, expected) in names.items():
            with self.subTest(situation):
                self.upload_raw(presented)
                filed += 1
                wait_until(lambda count=filed: len(self.placed()) == count, "the report to be filed")
                if expected:
                    self.assertEqual(self.placed()[-1]["diagnostic_name"], expected)
        for situation, presented in without_name.items():
            with self.subTest(situation):
                self.upload_raw(presented)
                filed += 1
                wait_until(lambda count=filed: len(self.placed()) == count, "the report to be filed")
                self.assertRegex(self.placed()[-1]["diagnostic_name"], r"^Diagnostics_\d{8}T\d{6}[+-]\d{4}$")
        self.assertEqual(self.files_outside(), before)
        self.assert_tree_and_table_agree(self.site)


class SlowUploads(UploadCase):
    site_settings = {"uploads.idle_time_out": 3, "uploads.total_time_out": 6}

    def test_one_byte_a_second_is_too_slow(self):
        path = self.fresh_path()
        slow = self.connect()
        slow.send(self.head(path + "slow", 1000))
        stop = threading.Event()

        def drip():
            while not stop.wait(1):
                try:
                    slow.send(b"x")
                except OSError:
                    return

        dripping = threading.Thread(target=drip)
        dripping.start()
        begin = time.monotonic()
        self.assertEqual(slow.status(), 408)
        stop.set()
        dripping.join()
        self.assertGreater(time.monotonic() - begin, 3)
        self.assertEqual(self.put(path + "quick"), 201)


if __name__ == "__main__":
    unittest.main()
