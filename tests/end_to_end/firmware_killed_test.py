"""The host is killed with SIGKILL at every stage of a firmware's way; afterwards nothing half is offered."""

import os
import threading
import time
import unittest

from firmware_site import FirmwareCase
from site_case import PATIENCE, curl, file_sha256, wait_until


class FirmwareKilled(FirmwareCase):
    def start(self):
        site = self.make_site({"firmware_storage.max_firmware_by_station": 20})
        services = site.start_site()
        stations = site.start_stations(1)
        stations.wait_for("connected", PATIENCE)
        services.wait_for(r"station 1 \(\S+\) booted", PATIENCE)
        return site

    def make_firmware(self, name, size):
        file = self.state / name
        file.write_bytes(os.urandom(size))
        return file

    def kill(self, site, host):
        host.kill()
        site.forget(host)

    def test_between_announcement_and_upload_the_announcement_is_forgotten(self):
        site = self.start()
        host = site.start_host()
        number, address = self.announce(site, "1.0")
        self.kill(site, host)
        file = self.make_firmware("late.bin", 100_000)
        self.assertEqual(curl("-T", file, f"{address}/late.bin")[0], 201)
        host = site.start_host()
        self.assertTrue(any(f"Cleanup firmware {number} that has no file" in line for line in host.lines()))
        # The web server announces the file again; nobody expects it any more.
        host.wait_for("File late.bin uploaded on tavi", PATIENCE)
        self.assertEqual(site.ask("get_firmwares"), ([], []))
        self.assertEqual(site.ask("get_charging_station_firmware", 1), ([], []))
        self.assertEqual(self.store(site), [])

    def test_between_copy_and_row_the_firmware_is_not_offered(self):
        site = self.start()
        host = site.start_host()
        number, address = self.announce(site, "1.0")
        file = self.make_firmware("fw.bin", 1_000_000)
        # It waits with the row, after the file has been copied.
        holder = self.hold_database(site)
        self.assertEqual(curl("-T", file, f"{address}/fw.bin")[0], 201)
        wait_until(lambda: [one.name for one in self.store(site)] == [f"{number}_fw.bin"], "the copy")
        self.kill(site, host)
        holder.close()
        host = site.start_host()
        self.assertTrue(any(f"Cleanup firmware {number} that has no file" in line for line in host.lines()))
        self.assertEqual(site.ask("get_firmwares"), ([], []))
        # The copied file stays in the store without a row; it is whole, and in no later firmware's way.
        self.assertEqual([file_sha256(one) for one in self.store(site)], [file_sha256(file)])
        again = self.add(site, host, "1.0", file)
        self.assertGreater(again["id"], number)
        self.assert_firmware_is_whole(site, {"1.0": file_sha256(file)})

    def test_at_any_moment_only_whole_firmware_is_offered(self):
        site = self.start()
        host = site.start_host()
        file = self.make_firmware("undisturbed.bin", 40_000_000)
        hashes = {"0": file_sha256(file)}
        number, address = self.announce(site, "0")
        self.assertEqual(curl("-T", file, f"{address}/{file.name}")[0], 201)
        host.wait_for(rf"Firmware {file.name} uploaded on tavi", PATIENCE)
        begin = time.monotonic()
        host.wait_for(rf"firmware with id {number} added to DB", PATIENCE)
        undisturbed = time.monotonic() - begin
        listed = self.assert_firmware_is_whole(site, hashes)
        last = 8
        for attempt in range(last + 1):
            version = f"1.{attempt}"
            number, address = self.announce(site, version)
            file = self.make_firmware(f"try_{attempt}.bin", 40_000_000)
            hashes[version] = file_sha256(file)
            # From the beginning of the copy, whose row is held up the first time, to after the row.
            holder = self.hold_database(site) if attempt == 0 else None
            self.assertEqual(curl("-T", file, f"{address}/{file.name}")[0], 201)
            host.wait_for(rf"Firmware {file.name} uploaded on tavi", PATIENCE)
            if attempt == last:
                host.wait_for(rf"firmware with id {number} added to DB", PATIENCE)
            else:
                threading.Event().wait(undisturbed * attempt / 3)
            self.kill(site, host)
            if holder:
                holder.close()
            host = site.start_host()
            listed = self.assert_firmware_is_whole(site, hashes)
            self.assertEqual([info["id"] for info in site.ask("get_charging_station_firmware", 1)[0]],
                             [info["id"] for info in listed])
        # The first kill came before the row and the last one after it.
        versions = [info["version"] for info in listed]
        self.assertIn(f"1.{last}", versions)
        self.assertNotIn("1.0", versions)
        self.assertEqual(host.stop(), 0)


if __name__ == "__main__":
    unittest.main()
