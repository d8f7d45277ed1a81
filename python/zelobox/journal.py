"""What has come so far, and waiting for what is to come."""

import json
import threading
import time


class Journal:
    """Records in the order in which they came. Safe to use from several threads."""

    def __init__(self, source):
        self._source = source
        self._records = []
        self._next = 0  # the first that nobody has expected
        self._ended = None
        self._changed = threading.Condition()

    def add(self, record):
        with self._changed:
            self._records.append(record)
            self._changed.notify_all()

    def end(self, reason):
        """Nothing follows."""
        with self._changed:
            self._ended = self._ended or reason
            self._changed.notify_all()

    def records(self):
        with self._changed:
            return list(self._records)

    def expect(self, fits, wanted, within):
        """Waits for the next record that fits, and passes over those before it.

        Raises AssertionError, which lists what came instead, when none comes within so many seconds.
        """
        deadline = time.monotonic() + within
        with self._changed:
            at = self._next
            while True:
                while at < len(self._records):
                    at += 1
                    if fits(self._records[at - 1]):
                        self._next = at
                        return self._records[at - 1]
                left = deadline - time.monotonic()
                if self._ended or left <= 0:
                    raise AssertionError(self._failure(wanted, within))
                self._changed.wait(left)

    def _failure(self, wanted, within):
        reason = f"it has ended: {self._ended}" if self._ended else f"not within {within} s"
        lines = [f"{self._source}: expected {wanted}, {reason}"]
        missed = self._records[self._next :]
        lines += ["what came instead:"] if missed else ["nothing came"]
        lines += ["  " + json.dumps(record, ensure_ascii=True) for record in missed[-20:]]
        earlier = self._records[: self._next]
        if earlier:
            lines += ["before that, expected already:"]
            lines += ["  " + json.dumps(record, ensure_ascii=True) for record in earlier[-5:]]
        return "\n".join(lines)
