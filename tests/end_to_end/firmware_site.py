"""What the end-to-end tests of firmware share: announcing, uploading, and what must always hold."""

import re

from site_case import PATIENCE, SiteCase, curl, file_sha256

MODEL = "X7-22"
AVAILABLE = 0


class FirmwareCase(SiteCase):
    """A site whose maintenance service can be asked for firmware."""

    def announce(self, site, version, models=(MODEL,)):
        """Announces a firmware; gives its id and the address to upload to."""
        result, (uri, number) = site.ask("store_firmware", {"version": version, "models": list(models)})
        self.assertEqual(result, 0)
        return number, f"http://127.0.0.1:{site.port}{uri}"

    def add(self, site, host, version, file):
        """Announces a firmware, uploads its file and waits until it is available; gives its record."""
        number, address = self.announce(site, version)
        self.assertEqual(curl("-T", file, f"{address}/{file.name}")[0], 201)
        host.wait_for(rf"firmware with id {number} added to DB", PATIENCE)
        return self.firmware(site, number)

    def firmware(self, site, number):
        return site.ask("get_firmware", number)[0]

    def store(self, site):
        """The files of the firmware store, sorted."""
        root = site.working_dir / "firmware"
        return sorted(root.iterdir()) if root.exists() else []

    def assert_firmware_is_whole(self, site, content_hashes):
        """What is listed is available with its file whole; a file under a final name is whole, listed or not."""
        listed = site.ask("get_firmwares")[0]
        for info in listed:
            self.assertEqual(info["status"], AVAILABLE, info)
            self.assertEqual(info["hash"], content_hashes[info["version"]], info)
            stored = site.working_dir / info["path"].lstrip("/")
            self.assertEqual(file_sha256(stored), info["hash"], info)
            self.assertEqual(stored.stat().st_size, info["size"], info)
        for file in self.store(site):
            if re.match(r"\d+_", file.name):
                self.assertIn(file_sha256(file), content_hashes.values(), file)
        return listed


def resident_peak(pid):
    """The most memory that a process has ever held, in bytes."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return int(re.search(r"VmHWM:\s+(\d+) kB", status.read()).group(1)) * 1024
