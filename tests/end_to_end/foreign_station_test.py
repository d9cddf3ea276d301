"""A station that no code of ours drives is asked for its diagnostics and uploads them with curl in three ways."""

import os
import unittest

from ocpp_station import Station
from site_case import PATIENCE, SiteCase, curl, wait_until


class ForeignStation(SiteCase):
    def test_uploads_of_each_kind_are_filed(self):
        site = self.make_site({"diagnostic_report.period_for_automatic_generation": 2})
        services = site.start_site()
        station = Station(site.port, "FOREIGN-1")
        self.addCleanup(station.close)
        station.wait_for(lambda one: one.boot_answer)
        self.assertEqual(station.boot_answer["status"], "Accepted")
        services.wait_for(r"station 1 \(FOREIGN-1\) booted as Other Z1", PATIENCE)
        host = site.start_host()

        ways = {
            "PUT to location and name": lambda location, file: curl("-T", file, location + "put.bin"),
            "POST multipart": lambda location, file: curl("-F", f"file=@{file};filename=form.bin", location),
            "Expect: 100-continue": lambda location, file: curl(
                "-T", file, "-H", "Expect: 100-continue", "--expect100-timeout", 60, location + "expect.bin"),
        }
        names = ["put.bin", "form.bin", "expect.bin"]
        contents = []
        for number, (way, upload) in enumerate(ways.items(), 1):
            with self.subTest(way):
                content = os.urandom(200_000 + number)
                contents.append(content)
                file = self.state / "to_upload"
                file.write_bytes(content)
                # Each round asks anew; only the request that came last is answered with an upload.
                asked = len(station.locations)
                station.wait_for(lambda one, before=asked: len(one.locations) > before)
                location = station.locations[-1]
                self.assertRegex(location, rf"^http://127\.0\.0\.1:{site.port}/upload/[A-Za-z0-9_-]{{43}}/$")
                station.notify("Uploading")
                status, _ = upload(location, file)
                self.assertEqual(status, 201)
                station.notify("Uploaded")
                host.wait_for(rf"File {names[number - 1]} has been uploaded on ", PATIENCE)
        wait_until(lambda: len(site.rows()) == 3 and all(row["full_path"] != "tmp" for row in site.rows()),
                   "three rows")
        self.assert_tree_and_table_agree(site)
        self.assertEqual([row["diagnostic_name"] for row in site.rows()], names)
        stored = [path.read_bytes() for path, _ in sorted(site.reports(), key=lambda one: int(one[0].name.split("_")[0]))]
        self.assertEqual(stored, contents)


if __name__ == "__main__":
    unittest.main()
