"""A charging station that shares no code with the product: OCPP 1.6-J over another WebSocket implementation."""

import asyncio
import json
import threading

import websockets


class Station:
    """Connects, boots and collects GetDiagnostics requests, on a thread of its own."""

    def __init__(self, port, identity, file_name="report.bin"):
        self.file_name = file_name
        self.locations = []
        self.boot_answer = None
        self._changed = threading.Condition()
        self._loop = asyncio.new_event_loop()
        self._error = None
        self._socket = None
        self._thread = threading.Thread(target=self._run, args=(f"ws://127.0.0.1:{port}/ocpp/{identity}",),
                                        daemon=True)
        self._thread.start()

    def wait_for(self, condition, seconds=120):
        """Waits until the condition on this station holds."""
        with self._changed:
            if not self._changed.wait_for(lambda: condition(self) or self._error, seconds):
                raise AssertionError("the station waited in vain")
        if self._error:
            raise AssertionError(f"the station failed: {self._error}")

    def notify(self, status):
        """Sends DiagnosticsStatusNotification."""
        call = [2, f"status-{status}", "DiagnosticsStatusNotification", {"status": status}]
        asyncio.run_coroutine_threadsafe(self._socket.send(json.dumps(call)), self._loop).result(60)

    def close(self):
        asyncio.run_coroutine_threadsafe(self._socket.close(), self._loop).result(60)
        self._thread.join(60)

    def _run(self, url):
        try:
            self._loop.run_until_complete(self._talk(url))
        except Exception as error:  # told to whoever waits
            with self._changed:
                self._error = repr(error)
                self._changed.notify_all()
        finally:
            self._loop.close()

    async def _talk(self, url):
        async with websockets.connect(url, subprotocols=["ocpp1.6"]) as connection:
            self._socket = connection
            boot = {"chargePointVendor": "Other", "chargePointModel": "Z1"}
            await connection.send(json.dumps([2, "boot", "BootNotification", boot]))
            async for text in connection:
                await self._on_message(json.loads(text))

    async def _on_message(self, message):
        if message[0] == 2 and message[2] == "GetDiagnostics":
            await self._socket.send(json.dumps([3, message[1], {"fileName": self.file_name}]))
            with self._changed:
                self.locations.append(message[3]["location"])
                self._changed.notify_all()
        elif message[0] == 3 and message[1] == "boot":
            with self._changed:
                self.boot_answer = message[2]
                self._changed.notify_all()
