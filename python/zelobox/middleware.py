"""The middleware of a set-top box."""

import http.client
import json
import os
import re
import shutil
import tempfile
import threading

from .journal import Journal
from .process import Process, ZeloboxError, find_program

# What people call the keys that have another name in the table.
KEY_ALIASES = {"OK": "Return", "Enter": "Return"}


class Middleware:
    """Runs while it is entered, on a socket of its own.

    config: the fields of the configuration that differ from the usual one
    directory: where the socket is made; otherwise a new one, removed at the end
    program: the path of zelobox
    """

    def __init__(self, config=None, directory=None, program=None):
        self._program = find_program(program)
        self._config = config
        self._given = directory
        self._lines = Journal("the middleware")
        self._frames = Journal("the middleware")
        self.directory = None
        self.socket = None

    def __enter__(self):
        self.directory = self._given or tempfile.mkdtemp(prefix="zelobox-")
        self.socket = os.path.join(self.directory, "zelo_messenger")
        words = [self._program, "serve", "--port", "0", "--socket", self.socket]
        if self._config:
            path = os.path.join(self.directory, "config.json")
            with open(path, "w", encoding="utf-8") as file:
                json.dump(self._config, file)
            words += ["--config", path]
        self._process = Process(words, lambda line: self._lines.add({"line": line}), self._lines.end)
        try:
            self._port = self._find_port()
            self._follow()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self._process.stop()
        if self._given is None:
            shutil.rmtree(self.directory, ignore_errors=True)

    def press(self, key, modifier=0):
        """Presses a key of the remote control: "OK", "Up", "7", or the number of a command."""
        body = {"modifier": modifier}
        if isinstance(key, int):
            body["command"] = key
        else:
            body["key"] = KEY_ALIASES.get(key, key)
        return self._post("/api/key", body)

    def send(self, frame, **fields):
        """Sends a message, named or numbered, to those who have subscribed to it; to all with unsubscribed=True.

        Returns how many clients that were.
        """
        return self._post("/api/send", {"frame": frame, **fields})

    def configure(self, **fields):
        """Changes the configuration and sends it."""
        return self._post("/api/config", fields)

    def fault(self, what):
        """Does something wrong; `zelobox middleware --help` lists what."""
        return self._post("/api/fault", {"what": what})

    def state(self):
        """Returns what the middleware knows: config, volume, muted, paused, videoWindow, ..."""
        return json.loads(self._request("GET", "/api/state"))["middleware"]

    def clients(self):
        return json.loads(self._request("GET", "/api/state"))["clients"]

    def expect(self, frame, within=5, **fields):
        """Waits for the next message from the library with this name and these fields, and returns its fields."""

        def fits(record):
            return record.get("name") == frame and _has(record.get("fields", {}), fields)

        return self._frames.expect(fits, _wanted(frame, fields), within)["fields"]

    def expect_connect(self, within=5):
        return self._expect_event("connected", within)

    def expect_disconnect(self, within=5):
        return self._expect_event("disconnected", within)

    def trace(self):
        """Returns the records of all traffic so far, in both directions."""
        return [json.loads(line) for line in self._request("GET", "/api/trace?format=jsonl").splitlines()]

    def save(self, path):
        """Writes the traffic so far to a file: a capture if the name ends in .pcapng, else JSON Lines."""
        form = "pcapng" if str(path).endswith(".pcapng") else "jsonl"
        with open(path, "wb") as file:
            file.write(self._request("GET", "/api/trace?format=" + form))

    def _expect_event(self, event, within):
        return self._frames.expect(lambda record: record.get("event") == event, event, within)

    def _find_port(self):
        address = re.compile(r"has its page at http://127\.0\.0\.1:(\d+)/")
        found = self._lines.expect(lambda record: address.search(record["line"]), "the address of its page", 20)
        return int(address.search(found["line"]).group(1))

    def _post(self, path, body):
        return json.loads(self._request("POST", path, json.dumps(body)))["receivers"]

    def _request(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self._port, timeout=10)
        try:
            connection.request(method, path, body, {"Content-Type": "application/json"} if body else {})
            answer = connection.getresponse()
            text = answer.read()
        finally:
            connection.close()
        if answer.status >= 400:
            raise ZeloboxError(json.loads(text).get("error", text.decode()))
        return text

    def _follow(self):
        """Listens to the stream of events, which begins with hello."""
        connection = http.client.HTTPConnection("127.0.0.1", self._port)
        connection.request("GET", "/api/events")
        answer = connection.getresponse()
        begun = threading.Event()
        threading.Thread(target=self._read_events, args=(answer, begun), daemon=True).start()
        if not begun.wait(20):
            raise ZeloboxError("the middleware tells no events")

    def _read_events(self, answer, begun):
        event = ""
        try:
            for raw in answer:
                line = raw.decode("utf-8", "replace").rstrip("\n")
                if line.startswith("event: "):
                    event = line[len("event: ") :]
                elif line.startswith("data: ") and event in ("record", "records"):
                    record = json.loads(line[len("data: ") :])
                    if record.get("direction") != "toHost":
                        self._frames.add(record)
                elif line.startswith("data: ") and event == "hello":
                    begun.set()
        except (OSError, ValueError, http.client.HTTPException):
            pass  # the program has ended
        self._frames.end("its stream of events is closed")


def _has(actual, expected):
    return all(name in actual and actual[name] == value for name, value in expected.items())


def _wanted(name, fields):
    return " ".join([str(name)] + [f"{field}={value!r}" for field, value in fields.items()])
