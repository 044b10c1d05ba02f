"""Programs that tests in Python run beside them, and waiting for what they do."""

import atexit
import http.client
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

DEADLINE = 120  # seconds, for whatever is waited for
REPORT = re.compile(r"Sanitizer: |: runtime error: ")

reports = []  # what sanitizers have found in the programs that were run


def fail_for_reports():
    """Ends the test as failed, whatever it has found itself."""
    if reports:
        print("a sanitizer has reported:", *reports, sep="\n", file=sys.stderr)
        sys.stdout.flush()
        sys.stderr.flush()
        os._exit(1)


atexit.register(fail_for_reports)  # registered first, so called last: all programs have been killed then


def wait_for(condition, what, seconds=DEADLINE):
    """The first result of the condition that is true."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise TimeoutError(f"waited in vain: {what}")


class Program:
    """A program that prints where it listens, on this machine. Killed when the test ends, if not before."""

    def __init__(self, command, pattern=r"^listening on (?P<url>https?://\S+:(?P<port>\d+))$"):
        self.output = tempfile.NamedTemporaryFile("w+", prefix="kx-test-")
        self.errors = tempfile.NamedTemporaryFile("w+", prefix="kx-test-")
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.output, stderr=self.errors)
        self.pattern = pattern
        atexit.register(self.end)
        found = wait_for(self.find_address, f"{command[0]} listens").groupdict()
        self.port = int(found["port"])
        self.url = found.get("url")

    def read(self):
        with open(self.output.name, encoding="utf-8") as file:
            return file.read()

    def read_errors(self):
        with open(self.errors.name, encoding="utf-8") as file:
            return file.read()

    def find_address(self):
        if self.process.poll() is not None:
            raise RuntimeError(f"ended with {self.process.returncode}: {self.read_errors()}")
        return re.search(self.pattern, self.read(), re.MULTILINE)

    def stop(self):
        """Ends it as an operator would; gives the exit status and how long it took."""
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(DEADLINE)
        return status, time.monotonic() - begin

    def end(self):
        self.kill()
        if REPORT.search(self.read_errors()):
            reports.append(self.read_errors())

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()

    def send(self, method, target, body=None, headers=None):
        """On a connection of its own; gives status and body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=DEADLINE)
        try:
            connection.request(method, target, body, {"Connection": "close", **(headers or {})})
            reply = connection.getresponse()
            return reply.status, reply.read()
        finally:
            connection.close()


class Plant(Program):
    """The simulated plant, on a port of the system's choice unless one is given."""

    def __init__(self, program, port=0, options=()):
        super().__init__([program, "--port", str(port), *options])
