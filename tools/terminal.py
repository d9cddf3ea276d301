"""Runs a program as if its output went to a terminal: some show tables only there."""

import os
import pty
import subprocess


def run_on_terminal(command, environment):
    """Gives exit code, what was written to standard output (without colours), and to standard error.

    Where the system has no terminal to give, as without /dev/pts, the output goes through a pipe, and the program
    writes what it writes for other programs. Whoever is interrupted here leaves no program behind.
    """
    try:
        reader, writer = pty.openpty()
    except OSError:
        reader, writer = os.pipe()
    with os.fdopen(reader, "rb", buffering=0) as terminal:
        try:
            process = subprocess.Popen([str(part) for part in command], env={**environment, "NO_COLOR": "1"},
                                       stdin=subprocess.DEVNULL, stdout=writer, stderr=subprocess.PIPE)
        finally:
            os.close(writer)
        try:
            output = read_to_end(terminal)
            errors = process.communicate()[1]
        except BaseException:
            process.terminate()
            process.communicate()
            raise
    # A terminal shows a line's end as carriage return and line feed.
    text = output.decode("utf-8", "replace").replace("\r\n", "\n")
    return process.returncode, text, errors.decode("utf-8", "replace")


def read_to_end(terminal):
    output = b""
    try:
        while piece := terminal.read(65536):
            output += piece
    except OSError:  # how a terminal ends when nobody holds its other side
        pass
    return output
