"""Runs commands on a terminal of 80 columns and shows what is left on its screen."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

COLUMNS = 80
ROWS = 24
PATIENCE = 120  # seconds
COLOR = re.compile(r"\x1b\[[0-9;]*m")

# A jump to the beginning of a line, some lines up perhaps, and the wiping of all behind it.
WIPE = re.compile(r"(?:\x1b\[(\d+)A)?\r\x1b\[[JK]")


def run(shell_command):
    """What a command of bash prints until it ends. Both outputs are the terminal."""
    process, terminal = pty.fork()
    if process == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
        variables = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "XMLDA_URL")}
        os.execve("/bin/bash", ["bash", "-c", shell_command],
                  {**variables, "TERM": "xterm", "TZ": "UTC", "LC_ALL": "C.UTF-8"})
    output = b""
    deadline = time.monotonic() + PATIENCE
    try:
        while True:
            if time.monotonic() > deadline:
                raise TimeoutError(f"{shell_command} does not end, it says {output[-500:]!r}")
            if not select.select([terminal], [], [], 1)[0]:
                continue
            try:
                output += os.read(terminal, 4096)
            except OSError:  # nobody has the terminal open any more
                break
    finally:
        os.kill(process, signal.SIGKILL)
        os.waitpid(process, 0)
        os.close(terminal)
    return output.decode().replace("\r\n", "\n")


def show(output):
    """What is left of an output on the screen, with its colours."""
    screen = ""
    end = 0
    for wipe in WIPE.finditer(output):
        screen += output[end : wipe.start()]
        end = wipe.end()
        lines = screen.split("\n")
        kept = len(lines) - 1 - int(wipe[1] or 0)
        screen = "".join(line + "\n" for line in lines[:kept])
    return screen + output[end:]


def without_colors(text):
    return COLOR.sub("", text)
