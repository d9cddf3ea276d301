#!/usr/bin/env python3
"""Asks the stations maintenance service from the command line.

A client in another language, written from docs/ipc.md alone: JSON over a ZeroMQ socket, nothing else. Needs
Debian's python3-zmq. Exit status: 0 done, 1 the service said no, 2 it was not reached or refused the request.
"""

import argparse
import json
import os
import sys

try:
    import zmq
except ImportError:
    zmq = None

PERIODIC, MANUAL = 0, 1
STATUS = {0: "available", 1: "pending upload", 2: "being processed", 4: "without version", 5: "failed"}
GENERATED = {0: "accepted", 1: "unknown station", 2: "not connected"}
STORED = {0: "announced", 1: "version refused", 2: "limit reached", 3: "unknown model"}
DELETED = {0: "deleted", 1: "unknown", 2: "not all of it could be deleted"}


def ask(given, operation, *arguments, seconds=30):
    """Sends a request; gives its result and what it brought back besides."""
    seconds = given.timeout or seconds
    folder = os.environ.get("TAVI_RUNTIME_DIR", "/run/tavi")
    socket = zmq.Context.instance().socket(zmq.REQ)
    socket.setsockopt(zmq.LINGER, 0)
    socket.setsockopt(zmq.RCVTIMEO, seconds * 1000)
    try:
        socket.connect(f"ipc://{folder}/stations_maintenance_service.req")
        socket.send_string(json.dumps({"protocol": 1, "operation": operation, "arguments": arguments}))
        reply = socket.recv()
    except zmq.Again:
        sys.exit(fail(f"no answer to {operation} within {seconds} s"))
    except zmq.ZMQError as error:
        sys.exit(fail(f"the service cannot be reached: {error}"))
    finally:
        socket.close()
    return read_reply(operation, reply)


def read_reply(operation, text):
    try:
        reply = json.loads(text)
        if reply["protocol"] != 1:
            sys.exit(fail(f"{operation} was answered in protocol {reply['protocol']}, this program knows 1"))
        if "error" in reply:
            sys.exit(fail(f"{operation} was refused: {reply['error']['code']}: {reply['error']['text']}"))
        return reply["result"], reply["out"]
    except (ValueError, KeyError, TypeError):
        sys.exit(fail(f"the answer to {operation} cannot be understood"))


def fail(text):
    print(text, file=sys.stderr)
    return 2


def tell(is_done, text):
    print(text)
    return 0 if is_done else 1


def tell_list(records, line):
    """An absent list is another answer than an empty one."""
    if records is None:
        return tell(False, "unknown, or cannot be read")
    for record in records:
        print(line(record))
    return 0


def firmware_line(one):
    status = STATUS.get(one["status"], one["status"])
    return f"{one['id']}  {one['version'] or '-'}  {status}  {', '.join(one['models'])}  {one['path'] or '-'}"


def report_line(one):
    kind = {PERIODIC: "periodic", MANUAL: "manual"}.get(one["type"], one["type"])
    return f"{one['diagnostic_id']}  station {one['station_id']}  {kind}  {one['size']} bytes  {one['diagnostic_name']}"


def configuration(given):
    return tell(True, json.dumps(ask(given, "get_configuration")[0]))


def set_configuration(given):
    is_enabled = given.maximum > 0
    record = {"max_periodic_report_per_station": given.maximum, "periodic_generation_enabled": is_enabled,
              "period_for_automatic_generation": given.seconds}
    is_set = ask(given, "set_configuration", record)[0]
    return tell(is_set, "set" if is_set else "refused")


def firmwares(given):
    if given.station is not None:
        return tell_list(ask(given, "get_charging_station_firmware", given.station)[0], firmware_line)
    return tell_list(ask(given, "get_firmwares")[0], firmware_line)


def firmware(given):
    found = ask(given, "get_firmware", given.id)[0]
    return tell(found is not None, firmware_line(found) if found else "unknown")


def announce(given):
    code, (location, number) = ask(given, "store_firmware", {"version": given.version, "models": given.models})
    return tell(code == 0, f"{number} {location}" if code == 0 else STORED.get(code, "failed"))


def delete_firmware(given):
    code = ask(given, "delete_firmware", given.id)[0]
    return tell(code == 0, DELETED.get(code, "failed"))


def reports(given):
    if given.station is not None:
        return tell_list(ask(given, "get_station_diagnostic_reports", given.station)[0], report_line)
    return tell_list(ask(given, "get_diagnostic_reports")[0], report_line)


def generate(given):
    kind = PERIODIC if given.periodic else MANUAL
    code, (number,) = ask(given, "generate_station_diagnostic_report", given.station, kind, seconds=60)
    return tell(code == 0, GENERATED.get(code, "failed") + (f", request {number}" if code == 0 else ""))


def delete_reports(given):
    code = ask(given, "delete_diagnostic_reports", {"diagnostic_ids": given.ids}, seconds=600)[0]
    return tell(code == 0, DELETED.get(code, "failed"))


def export(given):
    # The result is an error flag: true says that the export failed.
    has_failed = ask(given, "export_diagnostic_reports", {"diagnostic_ids": given.ids}, given.archive, seconds=600)[0]
    return tell(not has_failed, "failed" if has_failed else "exported")


def folder(given):
    return tell(True, ask(given, "get_diagnostics_folder_path")[0])


def working_directory(given):
    return tell(True, ask(given, "get_working_directory")[0])


def firmware_file(given):
    found = ask(given, "get_firmware_file", given.id)[0]
    return tell(found is not None, found or "unknown, or not there yet")


def a_time(text):
    seconds = int(text)
    if not 0 < seconds <= 86400:
        raise argparse.ArgumentTypeError("expected seconds, from 1 to 86400")
    return seconds


def command_line():
    parser = argparse.ArgumentParser(description="Asks the stations maintenance service.")
    parser.add_argument("--timeout", type=a_time, metavar="seconds",
                        help="how long to wait for the answer; by default as long as docs/ipc.md says")
    commands = parser.add_subparsers(required=True, metavar="command")

    def command(work, text, *arguments):
        added = commands.add_parser(work.__name__.replace("_", "-"), help=text)
        added.set_defaults(work=work)
        for names, options in arguments:
            added.add_argument(*names, **options)

    a_number, numbers = {"type": int}, {"type": int, "nargs": "+"}
    command(configuration, "tell the run-time configuration")
    command(set_configuration, "change it; a maximum of 0 switches periodic generation off",
            (["maximum"], a_number), (["seconds"], a_number))
    command(firmwares, "list firmware", (["--station"], a_number))
    command(firmware, "tell about one firmware", (["id"], a_number))
    command(announce, "announce a firmware; tells its id and where to upload it",
            (["--version"], {}), (["models"], {"nargs": "+"}))
    command(delete_firmware, "delete a firmware", (["id"], a_number))
    command(reports, "list diagnostic reports", (["--station"], a_number))
    command(generate, "ask a station for a report", (["--periodic"], {"action": "store_true"}),
            (["station"], a_number))
    command(delete_reports, "delete reports", (["ids"], numbers))
    command(export, "pack reports into a zip archive on the controller", (["archive"], {}), (["ids"], numbers))
    command(folder, "tell the folder of the reports")
    command(working_directory, "tell the folder from which relative paths count")
    command(firmware_file, "tell where the file of a firmware lies", (["id"], a_number))
    return parser


if __name__ == "__main__":
    chosen = command_line().parse_args()
    if zmq is None:
        sys.exit(fail("this program needs ZeroMQ for Python: install Debian's python3-zmq, or pyzmq elsewhere"))
    sys.exit(chosen.work(chosen))
