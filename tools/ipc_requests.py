"""Asks the controller's services over their sockets, in the form of docs/ipc.md: for ./run and the end-to-end tests."""

import json
import pathlib

import zmq


class RequestError(Exception):
    """A request that brought no result: what went wrong, in one line."""


def ask(runtime_dir, service, operation, *arguments, seconds=60):
    """Sends one request; gives its result and the list of what it brought back besides."""
    request = json.dumps({"protocol": 1, "operation": operation, "arguments": list(arguments)})
    # A socket for each request: one that has waited in vain could not be used again.
    with zmq.Context.instance().socket(zmq.REQ) as socket:
        socket.setsockopt(zmq.LINGER, 0)
        socket.setsockopt(zmq.RCVTIMEO, int(seconds * 1000))
        socket.setsockopt(zmq.SNDTIMEO, int(seconds * 1000))
        socket.connect(f"ipc://{pathlib.Path(runtime_dir) / service}.req")
        try:
            socket.send_string(request)
            reply = json.loads(socket.recv())
        except zmq.Again:
            raise RequestError(f"{service} did not answer {operation} within {seconds} s") from None
    if "error" in reply:
        raise RequestError(f"{service} refused {operation}: {reply['error']['code']}, {reply['error']['text']}")
    return reply["result"], reply["out"]
