"""A host that loads libzelocobalt.so."""

import json
import os

from .journal import Journal
from .middleware import _has, _wanted
from .process import Process, ZeloboxError, find_program

# The library's socket has a fixed place: the middleware's directory becomes the host's /tmp.
_IN_ITS_TMP = 'mount --bind "$1" /tmp && shift && exec "$@"'


class Host:
    """Runs while it is entered, with the socket of a Middleware where the library looks for it.

    library: the path of libzelocobalt.so, otherwise the one beside the program
    """

    def __init__(self, middleware, library=None, program=None, log_level=3):
        self._middleware = middleware
        self._words = [find_program(program), "host", "--json", "--no-start", "--log-level", str(log_level)]
        if library:
            self._words += ["--lib", os.path.abspath(library)]
        self._callbacks = Journal("the host")
        self._results = Journal("the host")

    def __enter__(self):
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        inside = ["unshare", *user, "--mount", "sh", "-c", _IN_ITS_TMP, "host", self._middleware.directory]
        self._process = Process(inside + self._words, self._take, self._end)
        return self

    def __exit__(self, *_):
        self._process.close_input()
        self._process.wait()

    def start(self, within=10):
        """Returns when the library has been configured."""
        return self.call("start", within)

    def stop(self, within=10):
        return self.call("stop", within)

    def call(self, command, within=5):
        """Carries out a command of `zelobox host`, and returns its answer."""
        self._process.write(command)
        name = command.split()[0]
        answer = self._results.expect(lambda record: record["result"] in (name, "error"), f"an answer to {command}", within)
        if answer["result"] == "error":
            raise ZeloboxError(f"{command}: {answer['problem']}")
        return answer

    def expect(self, callback, within=5, **fields):
        """Waits for the next callback with this name and these fields, and returns it."""

        def fits(record):
            return record["callback"] == callback and _has(record, fields)

        return self._callbacks.expect(fits, _wanted(callback, fields), within)

    @property
    def log(self):
        """The lines of the library's log so far."""
        return list(self._process.errors)

    def _take(self, line):
        try:
            record = json.loads(line)
        except ValueError:
            return
        if "callback" in record:
            self._callbacks.add(record)
        elif "result" in record:
            self._results.add(record)

    def _end(self, reason):
        self._callbacks.end(reason)
        self._results.end(reason)
