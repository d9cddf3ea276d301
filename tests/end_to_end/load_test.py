"""The whole service under load: every request from eight clients, twenty stations, rounds each second, changes."""

import http.client
import json
import os
import random
import re
import threading
import time
import unittest
import zipfile

from firmware_site import AVAILABLE, MODEL, FirmwareCase
from site_case import PATIENCE, file_sha256, wait_until

# Seconds of load; longer where a sanitizer watches.
DURATION = float(os.environ.get("LOAD_SECONDS", "10"))
CLIENTS = 8
STATIONS = 20
FAILED = 0xFFFFFFFF
# What a request gives that had nothing to ask for.
NOT_ASKED = object()

# What may stand in the log as a warning or an error: the answer to something that a client really asked for, or a
# station that really was busy.
EXPECTED = re.compile("|".join((
    r"\[fw_storage_mgr\] No firmware found with ID: \d+",
    r"\[firmware_table\] Failed to get firmware with id: \d+",
    r"\[firmware_table\] Failed to get associated models with firmware id : \d+",
    r"\[fw_storage_mgr\] Maximum number of stored firmware ",
    r"\[fw_storage_mgr\] Version already exists",
    r"\[fw_storage_mgr\] Timeout for the upload of firmware with token ",
    r"\[fw_storage_mgr\] A firmware already exists upload is ignored for file ",
    r"\[diagnostic_manager\] No diagnostic found with the given filter",
    r"\[diagnostic_manager\] No diagnostic report to export",
    r"\[diagnostic_manager\] .*station \d+\. Diagnostic (?:report )?status is uploading",
    r"\[diagnostic_table\] There is not any diagnostic reports found for station ",
)))


# Seconds between two changes of the configuration: each one begins the period of one second anew.
CHANGE_INTERVAL = 3


class Load(FirmwareCase):
    def setUp(self):
        super().setUp()
        self.ends_at = 0.0
        self.failures = []
        self.answered = {}
        self.guard = threading.Lock()
        self.next_change = 0.0

    def test_a_minute_of_everything_at_once_leaves_tree_and_table_in_agreement(self):
        site = self.make_site({
            "diagnostic_report.period_for_automatic_generation": 1,
            "diagnostic_report.max_periodic_report_per_station": 4,
            "diagnostic_report.max_manual_report_per_station": 3,
            "firmware_storage.max_firmware_by_station": 10,
            "firmware_storage.max_firmware_stored": 10,
            "firmware_storage.upload_timeout": 2})
        services = site.start_site()
        stations = site.start_stations(STATIONS)
        stations.wait_for(r"\S+ connected", PATIENCE, STATIONS)
        services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, STATIONS)
        host = site.start_host()

        self.ends_at = time.monotonic() + DURATION
        threads = [threading.Thread(target=self.client, args=(site, number)) for number in range(CLIENTS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(self.failures, [])
        self.assertEqual(set(self.answered), {name for name, _ in self.requests()})

        self.assertIs(site.ask("set_configuration", self.configuration(0, False, 0))[0], True)
        self.wait_for_quiet(site)
        self.assert_tree_and_table_agree(site)
        self.assert_store_and_table_agree(site)
        # Rounds, reports and firmware really came and went, or their agreement would mean little.
        for event, rate in ((r"Generating period diagnostic reports", 0.25),
                            (r"has been uploaded on .*/periodic_reports/", 0.5),
                            (r"has been uploaded on .*/manual_reports/", 0.5), (r"firmware with id \d+ added to DB", 0.5)):
            count = sum(bool(re.search(event, line)) for line in host.lines())
            self.assertGreater(count, DURATION * rate, event)
        self.assertEqual(host.stop(), 0)
        wrong = [line for line in host.lines() if re.search(r"\b(warning|error|critical)\b", line)]
        self.assertEqual([line for line in wrong if not EXPECTED.search(line)], [])

    def client(self, site, number):
        chance = random.Random(number)
        try:
            while time.monotonic() < self.ends_at:
                name, request = chance.choice(self.requests())
                if request(site, chance) is not NOT_ASKED:
                    self.answered[name] = self.answered.get(name, 0) + 1
        except Exception as error:  # told to the test
            self.failures.append(repr(error))

    def requests(self):
        return (("get_configuration", self.get_configuration), ("set_configuration", self.set_configuration),
                ("get_firmwares", self.get_firmwares), ("store_firmware", self.store_firmware),
                ("get_firmware", self.get_firmware), ("delete_firmware", self.delete_firmware),
                ("get_charging_station_firmware", self.get_charging_station_firmware),
                ("delete_diagnostic_reports", self.delete_reports),
                ("get_diagnostic_reports", self.get_reports),
                ("export_diagnostic_reports", self.export_reports),
                ("get_station_diagnostic_reports", self.get_station_reports),
                ("generate_station_diagnostic_report", self.generate_report),
                ("get_diagnostics_folder_path", self.get_folder))

    @staticmethod
    def configuration(maximum, is_enabled, period):
        return {"max_periodic_report_per_station": maximum, "periodic_generation_enabled": is_enabled,
                "period_for_automatic_generation": period}

    def get_configuration(self, site, _chance):
        answer = site.ask("get_configuration")[0]
        assert 3 <= answer["max_periodic_report_per_station"] <= 5, answer

    def set_configuration(self, site, chance):
        with self.guard:
            if time.monotonic() < self.next_change:
                return NOT_ASKED
            self.next_change = time.monotonic() + CHANGE_INTERVAL
        answer = site.ask("set_configuration", self.configuration(chance.randint(3, 5), True, 1))[0]
        assert answer is True, answer
        return None

    def get_firmwares(self, site, _chance):
        for info in site.ask("get_firmwares")[0]:
            assert info["status"] in (0, 1, 2, 4, 5), info

    def store_firmware(self, site, chance):
        desc = {"version": f"{chance.randint(1, 99)}.{chance.randint(1, 99)}", "models": [MODEL]}
        result, out = site.ask("store_firmware", desc)
        assert result in (0, 1, 2), result
        if result == 0 and chance.random() < 0.7:
            connection = http.client.HTTPConnection("127.0.0.1", site.port, timeout=PATIENCE)
            connection.request("PUT", f"{out[0]}/fw.bin", body=chance.randbytes(200_000))
            assert connection.getresponse().status == 201
            connection.close()

    @staticmethod
    def some_firmware(site, chance):
        """The id of a firmware, or now and then one that there is not."""
        ids = [info["id"] for info in site.ask("get_firmwares")[0]]
        return chance.choice([*ids, 4_000_000_000])

    def get_firmware(self, site, chance):
        number = self.some_firmware(site, chance)
        info = site.ask("get_firmware", number)[0]
        assert info is None or info["id"] == number, info

    def delete_firmware(self, site, chance):
        answer = site.ask("delete_firmware", self.some_firmware(site, chance))[0]
        assert answer in (0, 1), answer

    def get_charging_station_firmware(self, site, chance):
        for info in site.ask("get_charging_station_firmware", chance.randint(1, STATIONS))[0]:
            assert info["status"] == AVAILABLE and info["hash"] and info["version"], info

    def some_reports(self, site, chance):
        reports = site.ask("get_diagnostic_reports")[0]
        return [one["diagnostic_id"] for one in chance.sample(reports, min(3, len(reports)))]

    def delete_reports(self, site, chance):
        if chance.random() < 0.8:
            return NOT_ASKED  # or there would be none for the others
        answer = site.ask("delete_diagnostic_reports", {"diagnostic_ids": self.some_reports(site, chance)})[0]
        assert answer in (0, 1), answer
        return None

    def get_reports(self, site, _chance):
        assert isinstance(site.ask("get_diagnostic_reports")[0], list)

    def export_reports(self, site, chance):
        chosen = self.some_reports(site, chance)
        if not chosen:
            return NOT_ASKED
        archive = self.state / f"export_{chance.getrandbits(64)}.zip"
        if site.ask("export_diagnostic_reports", {"diagnostic_ids": chosen}, str(archive))[0]:
            left = {one["diagnostic_id"] for one in site.ask("get_diagnostic_reports")[0]}
            assert not left & set(chosen), f"{chosen} could not be exported, {left} are there"
            return None
        with zipfile.ZipFile(archive) as content:
            assert content.testzip() is None and 1 <= len(content.namelist()) <= len(chosen), content.namelist()
        archive.unlink()
        return None

    def get_station_reports(self, site, chance):
        assert isinstance(site.ask("get_station_diagnostic_reports", chance.randint(1, STATIONS))[0], list)

    def generate_report(self, site, chance):
        answer = site.ask("generate_station_diagnostic_report", chance.randint(1, STATIONS), 1)[0]
        # A station that uploads already is not asked again.
        assert answer in (0, FAILED), answer

    def get_folder(self, site, _chance):
        assert site.ask("get_diagnostics_folder_path")[0] == "diagnostic_reports"

    def wait_for_quiet(self, site):
        """Until no station uploads, every report has been filed, and every announced firmware is decided.

        A firmware file that came after its time-out stays in the spool until its token ends.
        """
        def is_quiet():
            uploading = [one for one in site.ask("get_charging_stations", service="ocpp_1_6_service")[0]
                         if one["diagnostics_status"] == 3]
            pending = [one for one in site.ask("get_firmwares")[0] if one["status"] in (1, 2)]
            return not uploading and not pending and not self.spooled_reports(site)
        wait_until(is_quiet, "the site to come to rest")

    @staticmethod
    def spooled_reports(site):
        """Uploads that begin, run or wait for the manager of reports."""
        found = [path for path in site.spool.rglob("*.part")]
        for record in site.spool.rglob("*.json"):
            try:
                if json.loads(record.read_text(encoding="utf-8"))["owner"] == "diagnostic_manager":
                    found.append(record)
            except FileNotFoundError:
                pass  # taken meanwhile
        return found

    def assert_store_and_table_agree(self, site):
        available = [info for info in site.ask("get_firmwares")[0] if info["status"] == AVAILABLE]
        stored = {site.working_dir / info["path"].lstrip("/"): info["hash"] for info in available}
        self.assertEqual({file: file_sha256(file) for file in self.store(site)}, stored)


if __name__ == "__main__":
    unittest.main()
