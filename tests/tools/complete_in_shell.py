#!/usr/bin/python3
"""Types the beginnings of commands into a shell on a terminal, presses TAB and Enter, and looks at what was run.

complete_in_shell.py bash|zsh|fish PLANT XMLDA COMPLETIONS
"""

import os
import pathlib
import pty
import select
import shutil
import sys
import tempfile
import time

from programs import Plant

PATIENCE = 120  # seconds
PROMPT = "ready for more: "

# Asked for words by the completion, this is xmlda. Otherwise it shows its arguments.
STAND_IN = """#!/bin/sh
if [ "$1" = complete ]; then
  exec "$XMLDA_PROGRAM" "$@"
fi
printf '<begin>'
for argument; do printf '<%s>' "$argument"; done
printf '<end>\\n'
"""

# What is typed in front of TAB, and the arguments that come of it.
CASES = [
    ("xmlda wat", ["watch"]),
    ("xmlda read --item-p", ["read", "--item-path"]),
    ("xmlda write --type unsignedB", ["write", "--type", "unsignedByte"]),
    ("xmlda status --ca complet", ["status", "--ca", "completed.pem"]),
    ("xmlda browse URL /feed", ["browse", "URL", "/feed_water/"]),
    ("xmlda read URL /boiler/bu", ["read", "URL", "/boiler/burner_on"]),
    ("xmlda read URL /boiler/temperature_", ["read", "URL", "/boiler/temperature_setpoint"]),
    ("xmlda read URL /boiler/level /instruments/thermometer_1/r",
     ["read", "URL", "/boiler/level", "/instruments/thermometer_1/reading"]),
    ("xmlda write URL /boiler/mo", ["write", "URL", "/boiler/mode="]),
    ("xmlda write URL /boiler/mode=man", ["write", "URL", "/boiler/mode=manual"]),
    ("xmlda write URL /boiler/burner_on=t", ["write", "URL", "/boiler/burner_on=true"]),
    ("XMLDA_VARIABLE", []),
    ("xmlda get /boiler/lev", ["get", "/boiler/level"]),
]


class Shell:
    """An interactive shell on a terminal."""

    def __init__(self, command, folder, variables):
        self.output = ""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, {**os.environ, **variables})

    def send(self, keys):
        os.write(self.terminal, keys.encode())

    def wait_for(self, text):
        """What came up to this text, which is taken away with it."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.output:
            if time.monotonic() > deadline:
                raise TimeoutError(f"no {text!r} came, but {self.output!r}")
            if select.select([self.terminal], [], [], 1)[0]:
                self.output += os.read(self.terminal, 4096).decode(errors="replace")
        before, _, self.output = self.output.partition(text)
        return before

    def end(self):
        os.kill(self.process, 9)
        os.waitpid(self.process, 0)
        os.close(self.terminal)


def get_command(shell, completions, folder):
    """How the shell is started, with its completion and nothing else of this machine."""
    if shell == "bash":
        (folder / "rc").write_text(f"PS1='{PROMPT}'\nsource '{completions}/xmlda.bash'\n", encoding="utf-8")
        return ["bash", "--noprofile", "--rcfile", str(folder / "rc"), "-i"]
    if shell == "zsh":
        (folder / ".zshrc").write_text(
            f"PROMPT='{PROMPT}'\nfpath=('{completions}' $fpath)\nautoload -Uz compinit\ncompinit -u -D\n",
            encoding="utf-8")
        return ["zsh", "-d", "-i"]
    return ["fish", "--no-config", "--interactive", "--init-command",
            f"function fish_prompt; printf '{PROMPT}'; end; source '{completions}/xmlda.fish'"]


def check(shell, url):
    """@return how many cases went wrong"""
    failures = 0
    for typed, expected in CASES:
        shell.wait_for(PROMPT)
        if not expected:
            shell.send(f"export XMLDA_URL={url}\r")
            continue
        shell.send(typed.replace("URL", url) + "\t\r")
        arguments = shell.wait_for("<end>").rpartition("<begin>")[2]
        wanted = "".join(f"<{argument}>" for argument in expected).replace("URL", url)
        if arguments != wanted:
            print(f"{typed} TAB\n  gives {arguments}\n  not   {wanted}")
            failures += 1
    return failures


def main():
    name, plant, xmlda, completions = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4]
    if shutil.which(name) is None:
        print(f"skipped: there is no {name} here")
        return 77
    with tempfile.TemporaryDirectory() as folder, Plant(plant) as host:
        folder = pathlib.Path(folder)
        (folder / "completed.pem").touch()
        program = folder / "bin" / "xmlda"
        program.parent.mkdir()
        program.write_text(STAND_IN, encoding="utf-8")
        program.chmod(0o755)
        variables = {"HOME": str(folder), "ZDOTDIR": str(folder), "TERM": "xterm", "LC_ALL": "C.UTF-8",
                     "PATH": f"{program.parent}:{os.environ['PATH']}", "XMLDA_PROGRAM": xmlda}
        shell = Shell(get_command(name, completions, folder), folder, variables)
        try:
            failures = check(shell, host.url)
        finally:
            shell.end()
    print(f"{len(CASES) - 1 - failures} of {len(CASES) - 1} completions are right")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
