"""Fifty stations are asked in one round; every report is filed."""

import json
import unittest

from site_case import PATIENCE, SiteCase, wait_until

STATIONS = 50


class FiftyStations(SiteCase):
    def test_all_reports_of_one_round_are_filed(self):
        site = self.make_site({"diagnostic_report.period_for_automatic_generation": 20})
        services = site.start_site()
        site.start_stations(STATIONS)
        services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, STATIONS)
        host = site.start_host()
        host.wait_for(r"has been uploaded on .*/station_(\d+)/", PATIENCE, STATIONS)
        wait_until(lambda: self.outcomes(site), "the outcome of the round in the event log")
        self.assertEqual(self.outcomes(site)[0],
                         "Generating diagnostic report for all stations 50 out of 50 have been generated")
        site.stop()
        self.assert_tree_and_table_agree(site)
        self.assertEqual({row["station_id"] for row in site.rows()}, set(range(1, STATIONS + 1)))
        self.assertEqual({row["type"] for row in site.rows()}, {0})

    @staticmethod
    def outcomes(site):
        log = site.state / "site" / "event_log" / "events.jsonl"
        texts = [json.loads(line)["text"] for line in log.read_text().splitlines()] if log.exists() else []
        return [text for text in texts if "out of" in text]


if __name__ == "__main__":
    unittest.main()
