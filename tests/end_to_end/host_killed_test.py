"""The host is killed with SIGKILL while reports arrive; what is on disk afterwards is whole."""

import os
import threading
import time
import unittest

from ocpp_station import Station
from site_case import PATIENCE, RawConnection, SiteCase, curl, file_sha256, sha256, wait_until


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
        self.assert_tree_and_table_agree(site)
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
        host, name = self.upload_one(site, station, "undisturbed.bin", sent)
        begin = time.monotonic()
        host.wait_for(rf"File {name} has been uploaded on ", PATIENCE)
        undisturbed = time.monotonic() - begin
        last = 8
        for attempt in range(last + 1):
            # From the beginning of the filing, held up there the first time, to after it.
            holder = self.hold_database(site) if attempt == 0 else None
            host, name = self.upload_one(site, station, f"try_{attempt}.bin", sent, host)
            if attempt == last:
                wait_until(lambda: any(row["full_path"].endswith(name) for row in site.rows()), "the row")
            else:
                threading.Event().wait(undisturbed * attempt / 3)
            host.kill()
            site.forget(host)
            if holder:
                holder.close()
            self.assert_files_are_whole(site, sent)
            host = site.start_host()
            self.assert_tree_and_table_agree(site)
        # The first kill came before the row and the last one after it.
        filed = {path.name.split("_", 1)[1] for path, _ in site.reports()}
        self.assertIn(name, filed)
        self.assertNotIn("try_0.bin", filed)

    def upload_one(self, site, station, name, sent, host=None):
        """Has the station upload a report; gives host and name once the service begins to file it."""
        asked = len(station.locations)
        host = host or site.start_host()
        station.wait_for(lambda one: len(one.locations) > asked)
        file = self.state / "to_upload"
        file.write_bytes(os.urandom(8_000_000))
        sent[name] = file_sha256(file)
        self.assertEqual(curl("-T", file, station.locations[-1] + name)[0], 201)
        host.wait_for(rf"File {name} uploaded on tavi", PATIENCE)
        return host, name

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
