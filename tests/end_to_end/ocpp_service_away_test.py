"""What a start makes of an OCPP service that does not answer, and of one that knows no station."""

import json
import threading
import unittest

import zmq

from site_case import PATIENCE, SiteCase


class FakeSiblings:
    """The four sibling services as far as a start needs them; the OCPP service's list is the test's."""

    def __init__(self, folder, stations):
        """`stations`: what each call for the list is answered with; None, and any further call, get no answer."""
        self._lists = list(stations)
        self._is_closing = False
        self._context = zmq.Context()
        self._threads = [threading.Thread(target=self._serve, args=(folder, name), daemon=True)
                         for name in ("logger_service", "webserver_token_service", "network_service",
                                      "ocpp_1_6_service")]
        for thread in self._threads:
            thread.start()

    def close(self):
        self._is_closing = True
        for thread in self._threads:
            thread.join(PATIENCE)
        self._context.term()

    def _serve(self, folder, name):
        # A socket that may leave a request without an answer, which REP may not.
        with self._context.socket(zmq.ROUTER) as socket:
            socket.setsockopt(zmq.LINGER, 0)
            (folder / f"{name}.req").unlink(missing_ok=True)
            socket.bind(f"ipc://{folder}/{name}.req")
            while not self._is_closing:
                if socket.poll(100):
                    *envelope, request = socket.recv_multipart()
                    is_answered, result = self._answer(json.loads(request)["operation"])
                    if is_answered:
                        reply = json.dumps({"protocol": 1, "result": result, "out": []})
                        socket.send_multipart([*envelope, reply.encode()])

    def _answer(self, operation):
        if operation == "get_charging_stations":
            answer = self._lists.pop(0) if self._lists else None
            return answer is not None, answer
        return operation in ("ping", "functional_log"), operation == "functional_log" or None


class OcppServiceAway(SiteCase):
    def setUp(self):
        super().setUp()
        self.site = self.make_site()
        services = self.site.start_site()
        self.site.start_stations(2)
        services.wait_for(r"station \d+ \(\S+\) booted", PATIENCE, 2)
        host = self.site.start_host()
        for station in (1, 2):
            self.assertEqual(self.site.ask("generate_station_diagnostic_report", station, 1)[0], 0)
        host.wait_for(r"has been uploaded on .*/station_\d+/", PATIENCE, 2)
        self.stations = self.site.ask("get_charging_stations", service="ocpp_1_6_service")[0]
        self.site.stop()
        self.reports = self.site.reports()
        self.assertEqual(len(self.reports), 2)

    def serve(self, *lists):
        siblings = FakeSiblings(self.state / "sockets", lists)
        self.addCleanup(siblings.close)

    def assert_reports_are_kept(self):
        self.assertEqual(self.site.reports(), self.reports)
        self.assert_tree_and_table_agree(self.site)

    def test_a_service_that_never_answers_stops_the_start_and_costs_no_report(self):
        self.serve()
        host = self.site.start("host", "stations_maintenance_host", "--working-dir", self.site.working_dir,
                               "--config-dir", self.state / "config")
        self.assertNotEqual(host.wait_for_end(PATIENCE), 0)
        self.site.forget(host)
        self.assertTrue(any("ocpp_1_6_service" in line for line in host.lines()), host.lines())
        self.assert_reports_are_kept()

    def test_a_service_that_falls_silent_after_its_first_list_costs_no_report(self):
        self.serve(self.stations)
        self.site.start_host()
        self.assert_reports_are_kept()

    def test_a_service_that_forgot_one_station_costs_that_ones_reports(self):
        self.serve(self.stations[:1], self.stations[:1])
        self.site.start_host()
        self.assertEqual([row["station_id"] for row in self.site.rows()], [self.stations[0]["id"]])
        self.assert_tree_and_table_agree(self.site)

    def test_a_service_without_stations_costs_every_report(self):
        self.serve([], [])
        self.site.start_host()
        self.assertEqual((self.site.rows(), self.site.reports()), ([], []))


if __name__ == "__main__":
    unittest.main()
