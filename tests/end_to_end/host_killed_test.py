"""The host is killed with SIGKILL while reports arrive; what is on disk afterwards is whole."""

import concurrent.futures
import hashlib
import os
import random
import threading
import unittest

from ocpp_station import Station
from site_case import PATIENCE, RawConnection, SiteCase, curl, sha256, wait_until


class HostKilled(SiteCase):
    def start(self, period):
        site = self.make_site({"diagnostic_report.period_for_automatic_generation": period})
        services = site.start_site()
        station = Station(site.port, "CS-1")
        self.addCleanup(station.close)
        services.wait_for(r"station 1 \(CS-1\) booted", PATIENCE)
        return site, station

    def test_in_the_middle_of_an_upload_nothing_partial_gets_a_final_name(self):
        site, station = self.start(2)
        host = site.start_host()
        station.wait_for(lambda one: one.locations)
        location = station.locations[0]
        path = location.split(str(site.port), 1)[1]
        content = os.urandom(1_000_000)
        connection = RawConnection(site.port)
        self.addCleanup(connection.close)
        connection.send(f"PUT {path}half.bin HTTP/1.1\r\nHost: site\r\nContent-Length: {len(content)}\r\n\r\n".encode())
        connection.send(content[:500_000])
        wait_until(lambda: any(site.spool.iterdir()), "the upload to begin")
        host.kill()
        site.forget(host)
        connection.send(content[500_000:])
        self.assertEqual(connection.status(), 201)
        self.assertEqual(site.reports(), [])
        self.assertEqual(site.rows(), [])

        # The token was the killed process's; the new one asks anew, and that upload is filed.
        asked = len(station.locations)
        host = site.start_host()
        station.wait_for(lambda one: len(one.locations) > asked)
        file = self.state / "to_upload"
        file.write_bytes(content)
        self.assertEqual(curl("-T", file, station.locations[-1] + "whole.bin")[0], 201)
        host.wait_for(r"File whole.bin has been uploaded on ", PATIENCE)
        wait_until(lambda: [row["full_path"] for row in site.rows()] != ["tmp"], "the row")
        self.assert_tree_and_table_agree(site)
        self.assertEqual([sha256(file.read_bytes()) for file, _ in site.reports()], [sha256(content)])

    def test_at_any_moment_every_file_under_a_final_name_is_whole(self):
        site, station = self.start(1)
        sent = {}
        chance = random.Random(7)
        for attempt in range(8):
            asked = len(station.locations)
            host = site.start_host()
            station.wait_for(lambda one, before=asked: len(one.locations) > before)
            content = os.urandom(8_000_000)
            name = f"try_{attempt}.bin"
            sent[name] = hashlib.sha256(content).hexdigest()
            file = self.state / "to_upload"
            file.write_bytes(content)
            upload = concurrent.futures.ThreadPoolExecutor(1).submit(curl, "-T", file, station.locations[-1] + name)
            # From before the announcement to after the filing: the moment is left to chance.
            host.wait_for(rf"Trying to save file|{name} uploaded on tavi", PATIENCE)
            threading.Event().wait(chance.uniform(0, 0.15))
            host.kill()
            site.forget(host)
            self.assertEqual(upload.result()[0], 201)
            self.assert_files_are_whole(site, sent)
        # The moments were on either side of the filing, or this would have shown little.
        self.assertGreater(len(site.reports()), 0)

    def assert_files_are_whole(self, site, sent):
        rows = {row["diagnostic_id"]: row for row in site.rows()}
        for path, size in site.reports():
            number, name = path.name.split("_", 1)
            self.assertEqual(sha256(path.read_bytes()), sent[name], path)
            self.assertEqual(rows[int(number)]["size"], size, path)
            self.assertIn(rows[int(number)]["full_path"], (str(path), "tmp"))
        for row in rows.values():
            if row["full_path"] != "tmp":
                self.assertTrue(os.path.exists(row["full_path"]), row)


if __name__ == "__main__":
    unittest.main()
