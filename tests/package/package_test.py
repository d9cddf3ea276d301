"""The installed package: a consumer finds, links and runs it; the libraries show their public classes only."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "end_to_end"))
from site_case import SiteCase  # noqa: E402

BUILD = pathlib.Path(os.environ["BUILD_FOLDER"])
PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
CONSUMER = pathlib.Path(__file__).resolve().parent / "consumer"

# The namespaces whose marked classes each library shows.
LIBRARIES = {
    "mura_common": "mura_common",
    "tavi_siblings": "tavi",
    "stations_maintenance_service_lib": "tavi::stations_maintenance",
    "stations_maintenance_client": "tavi::stations_maintenance",
}
# The request interface and its server are there because the service holds one of each; both are public too.
SERVICE_CLASSES = {
    "stations_maintenance_service", "i_req_resp_stations_maintenance_service_handler",
    "req_resp_stations_maintenance_service_handler"}


def run(*command, environment=None):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False,
                            env={**os.environ, **(environment or {})})
    return result.returncode, result.stdout, result.stderr


def marked_names(headers):
    """The classes and functions that the headers mark for export."""
    text = "\n".join(path.read_text() for path in headers.rglob("*.h"))
    return (set(re.findall(r"\b(?:class|struct) \w+_EXPORT (\w+)", text))
            | set(re.findall(r"_EXPORT [^;{(]*?\b(\w+)\(", text)))


def is_marked(symbol, marked):
    """Whether a symbol is a marked class or function, or a member of a marked class: no class within one."""
    parts = re.split(r"[(<\[]", symbol)[0].split("::")
    return any(part in marked for part in parts[-2:])


class Package(SiteCase):
    @classmethod
    def setUpClass(cls):
        cls.staging = pathlib.Path(tempfile.mkdtemp(prefix="package_"))
        cls.addClassCleanup(shutil.rmtree, cls.staging, ignore_errors=True)
        code, output, errors = run("cmake", "--install", BUILD, "--prefix", cls.staging)
        if code != 0:
            raise AssertionError(output + errors)

    def installed(self, pattern):
        found = list(self.staging.rglob(pattern))
        self.assertTrue(found, f"{pattern} is not installed")
        return found[0]

    def test_a_consumer_finds_the_package_links_both_libraries_and_runs(self):
        build = self.state / "consumer"
        code, output, errors = run("cmake", "-G", "Ninja", "-S", CONSUMER, "-B", build,
                                   f"-DCMAKE_PREFIX_PATH={self.staging}",
                                   f"-DCMAKE_CXX_COMPILER={os.environ['BUILD_COMPILER']}",
                                   f"-DCMAKE_CXX_FLAGS={os.environ['BUILD_FLAGS']}")
        self.assertEqual(code, 0, output + errors)
        code, output, errors = run("cmake", "--build", build)
        self.assertEqual(code, 0, output + errors)

        site = self.check_consumer(build / "consumer", {})
        # Who only asks needs one library, and has the names of what he gets all the same.
        code, output, errors = run(build / "client_consumer", environment=site.environment)
        self.assertEqual((code, output), (0, "manual: 0 reports\n"), errors)

    def test_a_consumer_without_cmake_finds_the_libraries_by_pkg_config(self):
        packages = self.installed("mura_common.pc").parent
        environment = {"PKG_CONFIG_PATH": str(packages)}
        code, flags, errors = run("pkg-config", "--cflags", "--libs", "stations_maintenance_service_lib",
                                  "stations_maintenance_client", environment=environment)
        self.assertEqual(code, 0, errors)
        program = self.state / "consumer"
        code, output, errors = run(os.environ["BUILD_COMPILER"], "-std=c++20", *os.environ["BUILD_FLAGS"].split(),
                                   CONSUMER / "main.cpp", "-o", program, *flags.split())
        self.assertEqual(code, 0, output + errors)
        self.check_consumer(program, {"LD_LIBRARY_PATH": str(packages.parent)})

    def test_a_consumer_that_asks_for_a_component_that_is_not_there_is_told(self):
        for component, expected in (("client", 0), ("service", 0), ("garage", 1)):
            with self.subTest(component):
                source = self.state / component
                source.mkdir()
                (source / "CMakeLists.txt").write_text(
                    "cmake_minimum_required(VERSION 3.25)\nproject(asks LANGUAGES CXX)\n"
                    f"find_package(stations_maintenance REQUIRED COMPONENTS {component})\n")
                code, _, errors = run("cmake", "-S", source, "-B", source / "build",
                                      f"-DCMAKE_PREFIX_PATH={self.staging}",
                                      f"-DCMAKE_CXX_COMPILER={os.environ['BUILD_COMPILER']}")
                self.assertEqual(code, expected, errors)

    def test_a_project_that_embeds_the_sources_links_the_names_of_the_package(self):
        source = self.state / "embedder"
        source.mkdir()
        (source / "main.cpp").write_text("int main() {}\n")
        (source / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(embedder LANGUAGES CXX)\n"
            f"add_subdirectory({PROJECT} maintenance)\nadd_executable(embedder main.cpp)\n"
            "target_link_libraries(embedder PRIVATE stations_maintenance::stations_maintenance_client)\n"
            "if(TARGET stations_maintenance::stations_maintenance_service_lib OR TARGET tavi_site)\n"
            '  message(FATAL_ERROR "there is more than the client")\nendif()\n')
        code, _, errors = run("cmake", "-G", "Ninja", "-S", source, "-B", source / "build", "-DCMAKE_CXX_STANDARD=23",
                              "-DSTATIONS_MAINTENANCE_BUILD_SERVICE=OFF", "-DSTATIONS_MAINTENANCE_BUILD_SITE=OFF",
                              f"-DCMAKE_CXX_COMPILER={os.environ['BUILD_COMPILER']}")
        self.assertEqual(code, 0, errors)
        commands = (source / "build" / "build.ninja").read_text()
        # Compilers before they knew the year call the level of 2023 by a letter.
        for pattern, expected in (("-Werror", False), ("gtest", False), (r"-std=c\+\+2[3b]", True)):
            self.assertEqual(re.search(pattern, commands) is not None, expected, pattern)

    def test_each_component_is_installed_by_itself(self):
        for component, pattern in (("runtime", "lib*.so.*"), ("development", "*.cmake"), ("programs", "bin/*"),
                                   ("documentation", "LICENSE")):
            with self.subTest(component):
                staging = self.state / component
                code, _, errors = run("cmake", "--install", BUILD, "--prefix", staging,
                                      "--component", f"stations_maintenance_{component}")
                self.assertEqual(code, 0, errors)
                self.assertTrue(list(staging.rglob(pattern)))
                self.assertEqual(bool(list(staging.rglob("*.h"))), component == "development")
                self.assertEqual(bool(list(staging.rglob("bin/*"))), component == "programs")

    def test_the_installed_programs_run_from_where_they_are(self):
        for name in ("stations_maintenance_host", "stations_maintenance_ctl", "tavi_site",
                     "charging_station_simulator"):
            with self.subTest(name):
                code, output, errors = run(self.installed(f"bin/{name}"), "--help")
                self.assertEqual(code, 0, errors)
                self.assertIn(name, output)

    def test_no_header_of_another_library_and_no_internal_one_is_installed(self):
        headers = {path.relative_to(self.staging / "include").parts[0]
                   for path in (self.staging / "include").rglob("*.h")}
        self.assertEqual(headers, {"stations_maintenance", "mura_common", "tavi"})

    def test_the_libraries_show_their_namespace_only(self):
        for name, namespace in LIBRARIES.items():
            with self.subTest(name):
                shown = self.shown_symbols(name)
                self.assertTrue(shown)
                self.assertEqual([one for one in shown if not one.startswith(f"{namespace}::")], [])

    def test_the_libraries_show_what_their_headers_mark_and_nothing_that_is_private_to_it(self):
        marked = marked_names(self.staging / "include")
        for name in LIBRARIES:
            with self.subTest(name):
                self.assertEqual([one for one in self.shown_symbols(name) if not is_marked(one, marked)], [])

    def test_a_library_carries_its_version_and_programs_ask_for_its_interface(self):
        for name in LIBRARIES:
            with self.subTest(name):
                library = self.installed(f"lib{name}.so")
                self.assertRegex(library.resolve().name, rf"^lib{name}\.so\.\d+\.\d+\.\d+$")
                _, output, _ = run("readelf", "--dynamic", library)
                self.assertRegex(output, rf"SONAME.*\[lib{name}\.so\.\d+\.\d+\]")

    def test_the_messages_between_services_are_documented_with_an_example_that_runs(self):
        self.installed("ipc.md")
        code, output, errors = run("/usr/bin/python3", "-B", self.installed("examples/stations_maintenance.py"), "--help")
        self.assertEqual(code, 0, errors)
        self.assertIn("configuration", output)

    def test_the_daemon_names_the_installed_example_of_a_configuration_that_is_missing(self):
        _, output, _ = run(self.installed("bin/stations_maintenance_host"), "--working-dir", self.state)
        place = re.search(r"stations_maintenance_service.toml: there is no such file; examples are in (\S+) of the", output)
        self.assertIsNotNone(place, output)
        self.installed(place[1] + "/stations_maintenance_service.toml")
        example = re.search(r"there is no supported_stations.json in .*, an example is (\S+)", output)
        self.assertIsNotNone(example, output)
        self.assertTrue(pathlib.Path(example[1]).is_file(), example[1])
        self.assertTrue(pathlib.Path(example[1]).is_relative_to(self.staging.resolve()))

    def test_the_service_library_shows_its_public_classes_only(self):
        classes = {symbol.removeprefix("tavi::stations_maintenance::").split("::")[0]
                   for symbol in self.shown_symbols("stations_maintenance_service_lib")}
        self.assertEqual(classes, SERVICE_CLASSES)

    def check_consumer(self, program, environment):
        """Runs it beside a site and a service, which it asks and which this gives."""
        site = self.make_site()
        site.start_site()
        site.start_host()
        code, output, errors = run(program, environment={**environment, **site.environment})
        self.assertEqual((code, output), (0, "stations_maintenance_service\nanswered\n"), errors)
        return site

    def shown_symbols(self, library):
        """What the library shows to others, without the words before the name of a class's own data."""
        if os.environ["BUILD_FLAGS"]:
            self.skipTest("what is delivered is linked by another linker, and without instrumentation")
        _, output, _ = run("nm", "--dynamic", "--defined-only", "--demangle", self.installed(f"lib{library}.so"))
        names = [line.split(" ", 2)[2] for line in output.splitlines()]
        return [re.sub(r"^((vtable|typeinfo|typeinfo name|VTT) for|(non-)?virtual thunk to) ", "", name) for name in names]


if __name__ == "__main__":
    unittest.main()
