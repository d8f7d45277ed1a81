"""The program in a process, with its output read as it comes."""

import os
import shutil
import subprocess
import threading


class ZeloboxError(Exception):
    """The program cannot be run, or refuses what it was asked for."""


def find_program(program=None):
    """Returns the path of zelobox: the argument, else $ZELOBOX, else what the path has."""
    wanted = program or os.environ.get("ZELOBOX") or "zelobox"
    found = shutil.which(wanted)
    if found is None:
        raise ZeloboxError(f"{wanted}: there is no such program; set ZELOBOX to the path of zelobox")
    return os.path.abspath(found)


class Process:
    """Hands every line of the standard output to a function, and keeps the standard error."""

    def __init__(self, words, on_line, on_end):
        self.errors = []
        self._child = subprocess.Popen(
            words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, bufsize=1
        )
        self._readers = [
            threading.Thread(target=self._read, args=(on_line, on_end), daemon=True),
            threading.Thread(target=self._read_errors, daemon=True),
        ]
        for reader in self._readers:
            reader.start()

    def write(self, line):
        try:
            self._child.stdin.write(line + "\n")
            self._child.stdin.flush()
        except BrokenPipeError:
            pass  # it has ended, which whoever waits for an answer is told

    def close_input(self):
        try:
            self._child.stdin.close()
        except BrokenPipeError:
            pass

    def stop(self, within=10):
        """Ends the program, and returns its exit status."""
        if self._child.poll() is None:
            self._child.terminate()
        return self.wait(within)

    def wait(self, within=10):
        try:
            self._child.wait(within)
        except subprocess.TimeoutExpired:
            self._child.kill()
            self._child.wait()
        for reader in self._readers:
            reader.join(within)
        for stream in (self._child.stdin, self._child.stdout, self._child.stderr):
            try:
                stream.close()
            except BrokenPipeError:
                pass
        return self._child.returncode

    def _read(self, on_line, on_end):
        for line in self._child.stdout:
            on_line(line.rstrip("\n"))
        self._child.wait()
        self._readers[1].join(1)
        on_end(f"exit status {self._child.returncode} " + " ".join(self.errors[-5:]))

    def _read_errors(self):
        for line in self._child.stderr:
            self.errors.append(line.rstrip("\n"))
