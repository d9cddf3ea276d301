"""Runs a program as if its output went to a terminal: some show tables only there."""

import os
import pty
import subprocess


def run_on_terminal(command, environment):
    """Gives exit code, what was written to standard output (without colours), and to standard error."""
    reader, writer = pty.openpty()
    with os.fdopen(reader, "rb", buffering=0) as terminal:
        process = subprocess.Popen([str(part) for part in command], env={**environment, "NO_COLOR": "1"},
                                   stdin=subprocess.DEVNULL, stdout=writer, stderr=subprocess.PIPE)
        os.close(writer)
        output = b""
        try:
            while piece := terminal.read(65536):
                output += piece
        except OSError:  # how a terminal ends when nobody holds its other side
            pass
        errors = process.communicate()[1]
    # A terminal shows a line's end as carriage return and line feed.
    text = output.decode("utf-8", "replace").replace("\r\n", "\n")
    return process.returncode, text, errors.decode("utf-8", "replace")
