"""The daemon as its operator meets it: help, clean stops, and one line that says what failed."""

import os
import signal
import subprocess
import unittest

from site_case import PATIENCE, PROGRAMS, SiteCase

HOST = PROGRAMS / "stations_maintenance_host"


class HostProgram(SiteCase):
    def run_host(self, *arguments, **environment):
        return subprocess.run([HOST, *map(str, arguments)], capture_output=True, text=True, timeout=PATIENCE,
                              env={**os.environ, "TAVI_RUNTIME_DIR": str(self.state), **environment}, check=False)

    def assert_fails_with(self, result, text, code=1):
        self.assertEqual(result.returncode, code, result.stdout)
        self.assertIn(text, result.stdout)
        errors = [line for line in result.stdout.splitlines() if " error " in line]
        self.assertEqual(len(errors), 1, result.stdout)

    def test_help_names_every_option_and_exits_0(self):
        for option in ("--help", "-h"):
            result = self.run_host(option)
            self.assertEqual(result.returncode, 0)
            for word in ("--working-dir", "--config-dir", "--database", "TAVI_RUNTIME_DIR", "Exit code", "Example"):
                self.assertIn(word, result.stdout)

    def test_sigterm_and_sigint_stop_it_cleanly(self):
        site = self.make_site()
        site.start_site()
        for number in (signal.SIGTERM, signal.SIGINT):
            host = site.start_host()
            os.kill(host.pid, number)
            self.assertEqual(host.wait_for_end(), 0)
            self.assertRegex(host.lines()[-1], "the service has stopped")
            site.forget(host)

    def test_a_signal_while_it_waits_for_its_siblings_stops_it_at_once(self):
        site = self.make_site()
        host = site.start("host", "stations_maintenance_host", "--working-dir", site.working_dir, "--config-dir",
                          site.state / "config")
        # It goes on to wait for services that are not there.
        host.wait_for(r"\[host\] starting", PATIENCE)
        self.assertEqual(host.stop(), 0)
        self.assertRegex(host.lines()[-1], "stopped by signal 15 while starting")

    def test_an_unknown_option_is_told_with_the_usage(self):
        self.assert_fails_with(self.run_host("--colour", "red"), "--colour", code=2)
        self.assertIn("usage:", self.run_host("--colour").stdout)

    def test_a_mistyped_option_is_told_with_the_one_that_was_meant(self):
        self.assert_fails_with(self.run_host("--wroking-dir", self.state), "did you mean \"--working-dir\"?", code=2)

    def test_a_value_that_is_missing_is_wrong_usage_too(self):
        self.assert_fails_with(self.run_host("--config-dir"), "--config-dir", code=2)

    def test_it_tells_its_version(self):
        result = self.run_host("--version")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stdout, r"^stations_maintenance_host \d+\.\d+\.\d+\n$")

    def test_sighup_leaves_a_line_and_it_goes_on(self):
        site = self.make_site()
        site.start_site()
        host = site.start_host()
        for _ in range(2):
            os.kill(host.pid, signal.SIGHUP)
        host.wait_for(r"SIGHUP: .*the program goes on", PATIENCE)
        self.assertEqual(host.stop(), 0)
        self.assertRegex(host.lines()[-1], "the service has stopped")
        site.forget(host)

    def test_sighup_while_it_starts_does_not_end_it(self):
        site = self.make_site()
        host = site.start("host", "stations_maintenance_host", "--working-dir", site.working_dir, "--config-dir",
                          site.state / "config")
        host.wait_for(r"\[host\] starting", PATIENCE)
        os.kill(host.pid, signal.SIGHUP)
        host.wait_for(r"SIGHUP: .*the program goes on", PATIENCE)
        self.assertEqual(host.stop(), 0)

    def test_a_working_directory_that_cannot_be_made_is_told(self):
        (self.state / "file").write_text("in the way")
        folder = self.state / "file" / "below"
        self.assert_fails_with(self.run_host("--working-dir", folder), str(folder))

    def test_a_missing_working_directory_is_made(self):
        folder = self.state / "new" / "below"
        self.assert_fails_with(self.run_host("--working-dir", folder), str(folder / "stations_maintenance_service.toml"))
        self.assertTrue(folder.is_dir())

    def test_a_site_that_supports_no_stations_is_told(self):
        site = self.make_site()
        site.start_site()
        (self.state / "config" / "supported_stations.json").write_text('{"stations": []}')
        result = self.run_host("--working-dir", site.working_dir, "--config-dir", self.state / "config",
                               **site.environment)
        self.assert_fails_with(result, "supported_stations.json lists no stations")

    def test_a_missing_configuration_is_told(self):
        result = self.run_host("--working-dir", self.state)
        self.assert_fails_with(result, "stations_maintenance_service.toml")
        lines = [line for line in result.stdout.splitlines() if "stations_maintenance_service.toml" in line]
        self.assertEqual(len(lines), 1, result.stdout)
        self.assertRegex(lines[0], r"there is no such file; examples are in \S+ of the installation, and in config of")

    def test_a_missing_list_of_stations_is_told_with_the_place_of_its_example(self):
        result = self.run_host("--working-dir", self.state)
        self.assertRegex(result.stdout, r"an example is \S*config/supported_stations.json")

    def test_a_file_that_is_no_database_is_told_and_left_alone(self):
        site = self.make_site()
        file = site.working_dir / "stations_maintenance_service.db"
        file.write_bytes(b"this is no database" * 1000)
        before = file.read_bytes()
        self.assert_fails_with(self.run_host("--working-dir", site.working_dir, "--config-dir", site.state / "config"),
                               str(file))
        self.assertEqual(file.read_bytes(), before)

    def test_siblings_that_do_not_answer_are_named(self):
        site = self.make_site()
        result = self.run_host("--working-dir", site.working_dir, "--config-dir", site.state / "config",
                               TAVI_RUNTIME_DIR=str(site.state / "sockets"))
        self.assert_fails_with(result, "logger_service")


if __name__ == "__main__":
    unittest.main()
