"""A large firmware from an operator's file into a station that loses its connection on the way."""

import os
import unittest

from firmware_site import MODEL, FirmwareCase, resident_peak
from site_case import PATIENCE, curl, file_sha256

SIZE = 200_000_000
# What a process may hold more than before, far below the file: buffers, and what a sanitizer keeps of freed memory.
GROWTH = 64_000_000


class FirmwareWay(FirmwareCase):
    def test_200_megabytes_arrive_whole_at_every_station_of_their_way(self):
        site = self.make_site(site_settings={"firmware.retry_interval": 1})
        services = site.start_site()
        stations = site.start_stations(1, "--firmware-version", "1.0.0", "--break-download-after", SIZE // 3)
        services.wait_for(r"station 1 \(\S+\) booted", PATIENCE)
        host = site.start_host()
        file = self.make_file(f"{MODEL}_2.1.0.bin")
        digest = file_sha256(file)
        before = {process.pid: resident_peak(process.pid) for process in (host, services, stations)}

        info = self.add(site, host, "2.1.0", file)
        self.assertEqual((info["size"], info["hash"], info["models"]), (SIZE, digest, [MODEL]))
        self.assertEqual(site.ask("get_charging_station_firmware", 1)[0], [info])
        stored = site.working_dir / info["path"].lstrip("/")
        self.assertEqual(file_sha256(stored), digest)

        seen, booted = len(stations.lines()), len(services.lines())
        self.assertEqual(site.ask("request_firmware_update", 1, str(stored), service="ocpp_1_6_service")[0], 0)
        stations.wait_for(r"tries to download its firmware again in \d+ s, from byte [1-9]\d*", PATIENCE, since=seen)
        stations.wait_for(rf"downloaded firmware 2\.1\.0 \({SIZE} bytes\), SHA-256 {digest}", PATIENCE, since=seen)
        stations.wait_for(r"reboots with firmware 2\.1\.0", PATIENCE, since=seen)
        services.wait_for(r"station 1 \(\S+\) booted", PATIENCE, since=booted)
        installed = next((self.state / "stations").rglob("installed"))
        self.assertEqual(file_sha256(installed), digest)

        for process in (host, services, stations):
            self.assertLess(resident_peak(process.pid) - before[process.pid], GROWTH, process.name)
        events = (self.state / "site" / "event_log" / "events.jsonl").read_text(encoding="utf-8")
        self.assertIn(f"New firmware available version: 2.1.0 id={info['id']} for models: {MODEL}", events)

    def make_file(self, name):
        file = self.state / name
        with open(file, "wb") as output:
            for _ in range(SIZE // 1_000_000):
                output.write(os.urandom(1_000_000))
        return file

    def test_a_file_outside_the_store_is_not_delivered(self):
        site = self.make_site()
        services = site.start_site()
        site.start_stations(1)
        services.wait_for(r"station 1 \(\S+\) booted", PATIENCE)
        outside = self.state / "secret.bin"
        outside.write_bytes(b"not for stations")
        site.firmware_root.mkdir(parents=True)
        (site.firmware_root / "link.bin").symlink_to(outside)
        for path in (outside, site.firmware_root / "link.bin", site.firmware_root / ".." / ".." / "secret.bin"):
            with self.subTest(path.name):
                self.assertEqual(site.ask("request_firmware_update", 1, str(path), service="ocpp_1_6_service")[0], 3)
        self.assertEqual(curl(f"http://127.0.0.1:{site.port}/firmware/guessed/secret.bin")[0], 404)


if __name__ == "__main__":
    unittest.main()
