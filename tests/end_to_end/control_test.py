"""The command line against real services: every command, its JSON, bad input, and the service being away."""

import os
import re
import signal
import socket
import time
import unittest
import zipfile

from control_site import DONE, FAILED, NOT_REACHABLE, TIME_OUT, USAGE, ControlCase, control, start_control
from site_case import PATIENCE, SiteCase, file_sha256, wait_until

EVERY_COMMAND = (("config", "get"), ("config", "set", "--period", "1h"), ("firmware", "list"),
                 ("firmware", "show", "1"), ("firmware", "add", __file__, "--model", "X7-22", "--version", "1"),
                 ("firmware", "delete", "1", "--yes"), ("firmware", "available", "--station", "1"),
                 ("reports", "list"), ("reports", "generate", "--all"), ("reports", "delete", "1"),
                 ("reports", "export", "archive.zip", "1"), ("reports", "folder"))


class Config(ControlCase):
    stations = 1

    def test_what_is_set_is_in_force_is_kept_and_leaves_the_comments_alone(self):
        self.assertEqual(self.json("config", "get"), {
            "max_periodic_report_per_station": 10, "periodic_generation_enabled": True,
            "period_for_automatic_generation": 0})
        self.succeed("config", "set", "--max-periodic", "7", "--period", "1h")
        wanted = {"max_periodic_report_per_station": 7, "periodic_generation_enabled": True,
                  "period_for_automatic_generation": 3600}
        self.assertEqual(self.json("config", "get"), wanted)
        text = (self.state / "config" / "stations_maintenance_service.toml").read_text(encoding="utf-8")
        self.assertIn("max_periodic_report_per_station = 7", text)
        self.assertIn("period_for_automatic_generation = 3600", text)
        self.assertIn("# Most periodic reports kept for each station", text)
        self.assertEqual(self.host.stop(), 0)
        self.site.forget(self.host)
        self.host = self.site.start_host()
        self.assertEqual(self.json("config", "get"), wanted)

    def test_only_what_is_given_changes(self):
        self.succeed("config", "set", "--period", "30m")
        self.assertEqual(self.json("config", "set", "--max-periodic", "3"), {
            "max_periodic_report_per_station": 3, "periodic_generation_enabled": True,
            "period_for_automatic_generation": 1800})

    def test_disable_stores_nothing_but_zero(self):
        self.succeed("config", "set", "--period", "30m")
        self.assertEqual(self.json("config", "set", "--disable"), {
            "max_periodic_report_per_station": 0, "periodic_generation_enabled": False,
            "period_for_automatic_generation": 0})

    def test_a_value_outside_its_range_is_refused_with_a_reason(self):
        self.assert_fails(FAILED, r"1001.*limits\.diagnostic_report", "config", "set", "--max-periodic", "1001")
        self.assertEqual(self.json("config", "get")["max_periodic_report_per_station"], 10)

    def test_of_two_values_the_refused_one_is_named_and_nothing_is_stored_unseen(self):
        file = self.state / "config" / "stations_maintenance_service.toml"
        cases = ((("--max-periodic", "1001", "--period", "1h"), "did not take the maximum 1001:", (10, 0)),
                 (("--max-periodic", "7", "--period", "366d"), "did not take the period 366d:", (7, 0)))
        for values, pattern, (maximum, period) in cases:
            with self.subTest(pattern):
                self.assert_fails(FAILED, pattern, "config", "set", *values)
                current = self.json("config", "get")
                self.assertEqual((current["max_periodic_report_per_station"],
                                  current["period_for_automatic_generation"]), (maximum, period))
                text = file.read_text(encoding="utf-8")
                self.assertIn(f"\nmax_periodic_report_per_station = {maximum}\n", text)
                self.assertIn(f"\nperiod_for_automatic_generation = {period}\n", text)

    def test_what_is_no_duration_is_named(self):
        self.assert_fails(USAGE, '"soon" is not a duration', "config", "set", "--period", "soon")
        self.assert_fails(USAGE, "nothing to set: give --max-periodic", "config", "set")


class Firmware(ControlCase):
    stations = 1

    def make_file(self, name="fw-2.1.0.bin", size=300_000):
        file = self.state / name
        file.write_bytes(os.urandom(size))
        return file

    def test_from_the_file_to_the_offer_and_away_again(self):
        file = self.make_file()
        added = self.json("firmware", "add", file, "--model", "X7-22", "--version", "2.1.0")
        self.assertEqual((added["version"], added["models"], added["size"], added["hash"], added["status"]),
                         ("2.1.0", ["X7-22"], 300_000, file_sha256(file), "available"))
        self.assertEqual(self.json("firmware", "list"), [added])
        self.assertEqual(self.json("firmware", "show", added["id"]), added)
        self.assertEqual(self.json("firmware", "available", "--station", "1"), [added])
        line = f"{added['id']}\t2.1.0\tavailable\t300000\tX7-22\t{added['path']}\n"
        self.assertEqual(self.succeed("firmware", "list").output, line)
        self.assertRegex(self.on_terminal("firmware", "list"), r"ID +VERSION +STATUS +SIZE +MODELS +PATH\n")
        self.assertEqual(self.json("firmware", "delete", added["id"], "--yes"), {"deleted": [added["id"]]})
        self.assertEqual(self.json("firmware", "list"), [])
        self.assertEqual(list((self.site.working_dir / "firmware").iterdir()), [])

    def test_a_name_that_needs_escaping_arrives(self):
        file = self.make_file("fw é & 100% [neu] #1.bin")
        added = self.json("firmware", "add", file, "--model", "X7-22", "--version", "1")
        self.assertTrue(added["path"].endswith(f"_{file.name}"), added)
        self.assertEqual(added["hash"], file_sha256(file))

    def test_every_refusal_says_why_and_leaves_nothing_announced(self):
        file = self.make_file()
        self.succeed("firmware", "add", file, "--model", "X7-22", "--version", "1")
        cases = (
            ("already", ("add", file, "--model", "X7-22", "--version", "1")),
            ("supported_stations", ("add", file, "--model", "unknown", "--version", "2")),
            ("is not there", ("add", self.state / "nothing", "--model", "X7-22", "--version", "2")),
            ("is not a file", ("add", self.state, "--model", "X7-22", "--version", "2")),
            ("there is no firmware 99", ("show", "99")),
            ("station 99", ("available", "--station", "99")))
        for pattern, arguments in cases:
            with self.subTest(pattern):
                self.assert_fails(FAILED, pattern, "firmware", *arguments)
        self.assert_fails(FAILED, "there is no firmware 99", "firmware", "delete", "99", "--yes",
                          output="^no firmware deleted\n$")
        self.assertEqual([one["status"] for one in self.json("firmware", "list")], ["available"])

    def test_without_a_version_it_says_that_nothing_is_offered(self):
        self.assert_fails(FAILED, "no version", "firmware", "add", self.make_file(), "--model", "X7-22", "--no-version",
                          output="\nstatus\twithout_version\n")
        self.assertEqual([one["status"] for one in self.json("firmware", "list")], ["without_version"])

    def test_only_a_terminal_gets_colours(self):
        self.succeed("firmware", "add", self.make_file(), "--model", "X7-22", "--version", "1")
        shown, piped = self.in_colours("firmware", "list")
        self.assertIn("\x1b[1m", shown)
        self.assertRegex(piped, "^1\t1\tavailable\t")
        self.assertNotIn("\x1b", piped)

    def test_ctrl_c_during_an_upload_takes_the_announcement_back(self):
        for number, code in ((signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
            with self.subTest(number.name), socket.create_server(("127.0.0.1", 0)) as server:
                server.settimeout(PATIENCE)
                add = self.start_control("firmware", "add", self.make_file(), "--model", "X7-22", "--version", "1",
                                         "--address", f"127.0.0.1:{server.getsockname()[1]}")
                connection, _ = server.accept()
                with connection:
                    self.assertTrue(connection.recv(65536).startswith(b"PUT /upload/"))
                    self.assertEqual([one["status"] for one in self.json("firmware", "list")], ["pending_upload"])
                    add.send_signal(number)
                    self.assertIn("ending in order", add.stderr.readline())
                    self.assertEqual(add.wait(PATIENCE), code)
                self.assertEqual(self.json("firmware", "list"), [])

    def test_an_upload_that_cannot_reach_the_server_takes_the_announcement_back(self):
        self.assert_fails(NOT_REACHABLE, "no web server at 127.0.0.1:9", "firmware", "add", self.make_file(),
                          "--model", "X7-22", "--version", "1", "--address", "127.0.0.1:9")
        self.assertEqual(self.json("firmware", "list"), [])


class Reports(ControlCase):
    stations = 2

    def generate(self):
        return self.json("reports", "generate", "--all", "--wait")

    def test_generated_reports_are_listed_filtered_and_sorted(self):
        asked = self.generate()
        self.assertEqual([one["outcome"] for one in asked], ["filed", "filed"])
        self.succeed("reports", "generate", "--station", "2", "--type", "periodic", "--wait")
        reports = self.json("reports", "list")
        # Which of the two stations asked at once comes first is up to them.
        self.assertEqual(sorted((one["station_id"], one["type"]) for one in reports),
                         [(one["report"]["station_id"], "manual") for one in asked] + [(2, "periodic")])
        self.assertEqual(self.json("reports", "list", "--station", "1"),
                         [one for one in reports if one["station_id"] == 1])
        self.assertEqual(self.json("reports", "list", "--type", "periodic"), reports[2:])
        self.assertEqual(self.json("reports", "list", "--newer-than", "1h", "--sort", "id", "--reverse"),
                         reports[::-1])
        self.assertEqual(self.json("reports", "list", "--older-than", "1h"), [])
        self.assertEqual(len(self.succeed("reports", "list").output.splitlines()), 3)
        self.assertRegex(self.on_terminal("reports", "list"), r"ID +STATION +TYPE +AGE +SIZE +NAME\n")
        self.assert_tree_and_table_agree(self.site)

    def test_exported_reports_equal_the_stored_files(self):
        self.generate()
        archive = self.state / "reports.zip"
        self.succeed("reports", "export", archive, "--all")
        with zipfile.ZipFile(archive) as content:
            packed = sorted(content.read(name) for name in content.namelist())
        self.assertEqual(packed, sorted(path.read_bytes() for path, _ in self.site.reports()))
        self.assert_fails(FAILED, "exists: --append", "reports", "export", archive, "--station", "1")
        self.assert_fails(FAILED, "there is no report 99", "reports", "export", self.state / "none.zip", "99")
        self.assertFalse((self.state / "none.zip").exists())

    def test_an_export_by_conditions_gains_more_by_append(self):
        self.generate()
        archive = self.state / "reports.zip"
        first = self.json("reports", "export", archive, "--station", "1", "--newer-than", "1h")
        self.assertEqual((first["packed"], [one["station_id"] for one in first["chosen"]]), (1, [1]))
        second = self.json("reports", "export", archive, "--station", "2", "--append")
        self.assertEqual(second["packed"], 1)
        with zipfile.ZipFile(archive) as content:
            packed = sorted(content.read(name) for name in content.namelist())
        self.assertEqual(packed, sorted(path.read_bytes() for path, _ in self.site.reports()))
        # One that is in there already is packed anew, so the number of files does not tell.
        self.assertRegex(self.succeed("reports", "export", archive, "--all", "--append").output, "^up to 2 of 2 reports")

    def test_an_export_says_that_a_stored_file_is_missing(self):
        self.generate()
        (gone, _), (left, _) = self.site.reports()
        content_left = left.read_bytes()
        gone.unlink()
        archive = self.state / "reports.zip"
        self.assert_fails(FAILED, r"not in \S+reports\.zip: 1 report; ", "reports", "export", archive, "--all",
                          output=r"^1 of 2 reports \(.*\) exported to ")
        with zipfile.ZipFile(archive) as content:
            self.assertEqual([content.read(name) for name in content.namelist()], [content_left])
        self.host.wait_for(r"\[zipper\] file \S*" + re.escape(gone.name) + " does not exist", PATIENCE)

    def test_deletion_by_id_and_by_condition(self):
        first, second = (one["report"]["diagnostic_id"] for one in self.generate())
        self.assert_fails(USAGE, "--yes", "reports", "delete", "--all")
        self.assertEqual(self.json("reports", "delete", first), {"deleted": [first]})
        self.assert_fails(FAILED, f"there is no report {first}", "reports", "delete", first,
                          output="^no report deleted\n$")
        self.assertEqual(self.json("reports", "delete", "--station", "2", "--yes"), {"deleted": [second]})
        self.assertEqual(self.json("reports", "list"), [])
        self.assertEqual(self.site.reports(), [])

    def test_the_folder_of_the_configuration_can_be_opened(self):
        folder = self.succeed("reports", "folder").output.rstrip("\n")
        self.assertTrue(os.path.isabs(folder) and folder.endswith("/diagnostic_reports") and os.path.isdir(folder), folder)
        self.assertEqual(self.json("reports", "folder"), {"diagnostics_folder_path": folder})

    def test_a_report_can_be_looked_into_and_copied_out(self):
        report = self.generate()[0]["report"]
        shown = self.json("reports", "show", str(report["diagnostic_id"]))
        self.assertTrue(shown["files"], shown)
        target = self.state / "copy"
        self.succeed("reports", "get", str(report["diagnostic_id"]), target)
        self.assertEqual(file_sha256(target), file_sha256(shown["path"]))
        self.assertEqual(os.stat(target).st_mode & 0o777, 0o640)
        self.assert_fails(FAILED, "exists", "reports", "get", str(report["diagnostic_id"]), target)

    def test_a_station_that_is_not_known_or_not_there_is_named(self):
        self.assert_fails(FAILED, "station 99", "reports", "generate", "--station", "99", "--wait",
                          output="^99\tunknown_station\t")
        self.assert_fails(FAILED, "station 99 is not known to the site", "reports", "list", "--station", "99")
        self.assertEqual(self.simulator.stop(), 0)
        self.site.forget(self.simulator)
        self.services.wait_for(r"station 1 \(\S+\) disconnected", PATIENCE)
        self.assert_fails(FAILED, "station 1 is not connected", "reports", "generate", "--station", "1",
                          output="^1\tnot_connected\t")

    def test_watch_shows_events_until_it_is_interrupted(self):
        watch = self.start_control("--json", "watch")
        shown = bytearray()
        os.set_blocking(watch.stdout.fileno(), False)

        def has_seen(event):
            try:
                shown.extend(os.read(watch.stdout.fileno(), 65536))
            except BlockingIOError:
                pass
            return b'"' + event + b'"' in shown

        # An event that is published before the subscription has come through is not seen: asked again until one is.
        def has_seen_upload():
            self.generate()
            return has_seen(b"file_uploaded")
        wait_until(has_seen_upload, "an upload to be seen")
        self.succeed("config", "set", "--period", "1h")
        wait_until(lambda: has_seen(b"functional_log"), "an entry of the functional log to be seen")
        watch.send_signal(signal.SIGINT)
        self.assertEqual(watch.wait(PATIENCE), 0)
        self.assertTrue(any(b'"station_status"' in line and b'"identity":"CS-00' in line for line in shown.splitlines()),
                        shown)


class WithoutService(SiteCase):
    def test_every_command_says_at_once_what_does_not_run_and_how_to_start_it(self):
        for command in EVERY_COMMAND:
            with self.subTest(" ".join(command)):
                begin = time.monotonic()
                outcome = control(self.state, *command)
                # Far below any time-out of a request; a sanitizer starts a program slowly.
                self.assertLess(time.monotonic() - begin, 8)
                self.assertEqual((outcome.code, outcome.output), (NOT_REACHABLE, ""), outcome)
                self.assertRegex(outcome.errors, "stations_maintenance_service does not run.*stations_maintenance_host")

    def test_help_is_there_for_every_command_and_names_exit_codes(self):
        text = control(self.state, "--help")
        self.assertEqual(text.code, DONE)
        self.assertIn("Exit codes:", text.output)
        for command in {command[:2] for command in EVERY_COMMAND} | {("watch",)}:
            with self.subTest(" ".join(command)):
                outcome = control(self.state, *command, "--help")
                self.assertEqual(outcome.code, DONE)
                self.assertRegex(outcome.output, "Examples?:")

    def test_bad_input_is_named_on_standard_error(self):
        cases = ((), ("nonsense",), ("firmware", "show", "seven"), ("firmware", "add", __file__),
                 ("firmware", "available"), ("reports", "delete"), ("reports", "export", "archive.tar", "1"),
                 ("reports", "list", "--type", "weekly"), ("reports", "generate"),
                 ("reports", "list", "--newer-than", "-1"), ("firmware", "show", "4294967296"),
                 ("firmware", "delete"), ("firmware", "delete", "seven"), ("firmware", "delete", "-1"),
                 ("watch", "everything"), ("config", "get", "period"), ("reports", "folder", "/tmp"),
                 ("--runtime-dir", "", "reports", "folder"))
        for arguments in cases:
            with self.subTest(" ".join(arguments)):
                outcome = control(self.state, *arguments)
                self.assertEqual((outcome.code, outcome.output), (USAGE, ""), outcome)
                self.assertTrue(outcome.errors.startswith("stations_maintenance_ctl: "), outcome)

    def test_watch_waits_for_the_services_and_ends_by_a_signal(self):
        watch = start_control(self, self.state, "watch")
        services = ("charging_stations_service", "webserver_token_service", "logger_service")
        for service in services:
            line = [watch.stderr.readline() for _ in range(2)]
            self.assertIn(f"{service} does not run", line[0])
            self.assertIn(f"waiting for the events of {service}", line[1])
        watch.send_signal(signal.SIGTERM)
        self.assertEqual(watch.communicate(timeout=PATIENCE), ("", ""))
        self.assertEqual(watch.returncode, DONE)

    def test_watch_ends_when_its_reader_goes(self):
        watch = start_control(self, self.state, "watch")
        watch.stderr.readline()
        watch.stdout.close()
        self.assertEqual(watch.wait(PATIENCE), FAILED)


class SilentService(ControlCase):
    stations = 1

    def test_a_service_that_hangs_runs_into_the_time_out_and_is_named(self):
        os.kill(self.host.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, self.host.pid, signal.SIGCONT)
        begin = time.monotonic()
        self.assert_fails(TIME_OUT, "gave no answer in time", "--timeout", "2s", "reports", "folder")
        self.assertLess(time.monotonic() - begin, 20, "the usual time-out was taken")
        os.kill(self.host.pid, signal.SIGCONT)
        self.assertRegex(self.succeed("reports", "folder").output, "/diagnostic_reports\n$")


if __name__ == "__main__":
    unittest.main()
