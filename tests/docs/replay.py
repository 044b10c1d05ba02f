#!/usr/bin/python3
"""Replays what the pages show: posts their requests to the plant, runs their commands with xmlda, and compares the
answers. Times and what the simulation changes are masked.

replay.py PLANT MACHINE_HOST XMLDA
replay.py PLANT PAGE    the requests of one page that is not among the documentation's
"""

import http.client
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.parse

import pages
import terminal
from programs import Program

DOCUMENTED_URL = "http://127.0.0.1:8080"
TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(?:\.\d{3}|\.\d{6}|\.\d{9})?Z")
CLOCK = re.compile(r"(?:\d{4}-\d\d-\d\d )?\b\d\d:\d\d:\d\d(?:\.\d{3})?\b")

NAMESPACES = {
    "": "http://opcfoundation.org/webservices/XMLDA/1.0/",
    ":soap": "http://schemas.xmlsoap.org/soap/envelope/",
    ":telvix": "urn:telvix:information-model:1.0",
    ":xsd": "http://www.w3.org/2001/XMLSchema",
    ":xsi": "http://www.w3.org/2001/XMLSchema-instance",
}


def create_envelope(body):
    declarations = "".join(f' xmlns{name}="{uri}"' for name, uri in NAMESPACES.items())
    return (
        f'<?xml version="1.0" encoding="utf-8"?><soap:Envelope{declarations}>'
        f"<soap:Body>{body}</soap:Body></soap:Envelope>"
    )


def mask_times(xml):
    return re.sub(r'(RcvTime|ReplyTime|Timestamp)="' + TIME.pattern + '"', r'\1="TIME"', xml)


def normalize(xml):
    """XML of a page without what makes it readable, and without times."""
    return mask_times(re.sub(r"> <", "><", re.sub(r"\s+", " ", xml)).strip())


def is_envelope(xml):
    return xml.lstrip().startswith(("<?xml", "<soap:Envelope"))


def post(url, request):
    """The status and the text of the answer."""
    connection = http.client.HTTPConnection(urllib.parse.urlsplit(url).netloc, timeout=60)
    try:
        body = request if is_envelope(request) else create_envelope(request)
        connection.request("POST", "/", body.encode(), {"Content-Type": "text/xml"})
        response = connection.getresponse()
        return response.status, response.read().decode()
    finally:
        connection.close()


def run_curl(shell):
    """The status and the text of what a command that calls curl printed."""
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, ".curlrc").write_text('write-out = "\\n%{http_code}"\nmax-time = 60\n', encoding="utf-8")
        environment = {**os.environ, "CURL_HOME": folder}
        command = ["bash", "-c", shell]
        printed = subprocess.run(command, capture_output=True, text=True, timeout=90, check=True, env=environment).stdout
    reply, _, status = printed.rpartition("\n")
    return int(status), reply


class Conversation:
    """The requests and answers of one page, in turn. The plant chooses other handles of subscriptions than it did
    for the page."""

    def __init__(self, plant_command, report):
        self.plant_command = plant_command
        self.report = report
        self.plant = Program(plant_command)
        self.functions = ""
        self.request = None  # what is yet to be answered
        self.container = None  # the request in whose reply the next block stands
        self.least_time = 0  # seconds that the next answer takes at least
        self.handles = {}

    def take(self, step):
        if step.kind == "restart":
            self.plant.kill()
            self.plant = Program(self.plant_command)
        elif step.kind == "in the reply to":
            self.container = step.text
        elif step.kind == "takes at least":
            self.least_time = float(step.text.removesuffix(" s"))
        elif step.kind == "sh" and step.text.startswith("opc() {"):
            self.functions = step.text
        elif step.kind == "sh" and step.text.startswith("opc "):
            self.report.check(self.request is None, step, f"{self.request} has no answer on the page")
            self.request = step
        elif step.kind == "xml":
            self.take_xml(step)
        elif step.kind == "text" and step.text == "Bad request\n":
            self.compare(step)

    def take_xml(self, step):
        if self.container is not None:
            reply = mask_times(post(self.plant.url, self.container)[1])
            self.report.check(normalize(step.text) in reply, step, f"does not stand in {reply}")
            self.container = None
        elif self.request is None:
            self.request = step
        else:
            self.compare(step)

    def ask(self):
        """Sends the request, through the shell if the page does."""
        request = self.translate(self.request.text)
        if self.request.kind == "xml":
            return post(self.plant.url, request)
        return run_curl((self.functions + request).replace(DOCUMENTED_URL, self.plant.url))

    def compare(self, step):
        start = time.monotonic()
        status, reply = self.ask()
        if self.least_time:
            self.report.check(time.monotonic() - start >= self.least_time, step, f"came within {self.least_time} s")
            self.least_time = 0
        documented = step.text
        if found := re.search('ServerSubHandle="([^"]+)"', documented):
            self.handles[found[1]] = re.search('ServerSubHandle="([^"]+)"', reply)[1]
        expected = normalize(self.translate(documented))
        if expected.startswith("<") and not is_envelope(expected):
            expected = normalize(create_envelope(expected))
        self.report.equal(mask_times(reply), expected, step)
        is_failure = "<soap:Fault>" in expected or expected == "Bad request"
        self.report.equal(status, 400 if is_failure else 200, step)
        self.request = None

    def translate(self, text):
        for documented, actual in self.handles.items():
            text = re.sub(rf'(["> ]){documented}(["<])', rf"\g<1>{actual}\g<2>", text)
        return text

    def end(self):
        self.plant.kill()
        self.report.check(self.request is None, self.request, "has no answer on the page")


def mask(output):
    """What a command shows, without times, without what the simulation changes, and without alignment."""
    output = CLOCK.sub("TIME", TIME.sub("TIME", output))
    lines = []
    for line in output.splitlines():
        if not re.search("setpoint|thermometer", line):
            line = re.sub(r"-?\b\d+\.(\d+)\b", lambda number: "NUMBER." + "N" * len(number[1]), line)
        lines.append(re.sub(r"free_memory \d+ ", "free_memory NUMBER ", re.sub(r" +", " ", line)).rstrip())
    return "\n".join(lines)


def run_console(step, url, xmlda, report, folder):
    """Runs the lines that begin with "$ " on a terminal, in a folder; what follows each is what that shows."""
    for entry in re.split(r"^\$ ", step.text, flags=re.MULTILINE)[1:]:
        command, _, expected = entry.partition("\n")
        shown = run_documented(f"cd '{folder}'; {command.removeprefix('scripts/')}", url, xmlda)
        report.equal(mask(shown), mask(expected), f"{step}: {command}")


def run_documented(command, url, xmlda):
    shell = f'xmlda() {{ "{xmlda}" "$@"; }}\n{command}\n'
    output = terminal.run(shell.replace(DOCUMENTED_URL, url))
    return terminal.without_colors(terminal.show(output)).replace(url, DOCUMENTED_URL)


def check_tls(plant, xmlda, report):
    """The commands of the page on operation make a certificate that the plant serves with and the client trusts."""
    steps = pages.read_steps(pages.PROJECT / "docs" / "operation.md")
    step = next(step for step in steps if step.text.startswith("openssl req"))
    openssl, _, demo = step.text.rpartition("scripts/demo ")
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["bash", "-c", openssl], cwd=folder, check=True, timeout=60, capture_output=True)
        options = [f"{folder}/{word}" if word.endswith(".pem") else word for word in demo.split()]
        with Program([plant, "--port", "0", *options]) as host:
            command = [xmlda, "status", host.url, "--ca", f"{folder}/certificate.pem"]
            outcome = subprocess.run(command, capture_output=True, text=True, timeout=60)
            report.check(host.url.startswith("https:"), step, host.url)
            report.equal(outcome.returncode, 0, step)


def check_types(url, report):
    """The table of value types names those that the plant has, and no others."""
    page = (pages.PROJECT / "docs" / "value-types.md").read_text(encoding="utf-8")
    table = re.findall(r"^\| `[A-Z_]+` \|[^|]*\| (xsd:\w+) \| \**(\w+)\** \|", page, re.MULTILINE)
    served = set()
    branches = ["/"]
    while branches:
        request = f'<Browse ItemName="{branches.pop()}" ReturnPropertyValues="true"><PropertyNames>dataType'
        reply = post(url, request + "</PropertyNames></Browse>")[1]
        branches += re.findall(r'HasChildren="true" IsItem="true" ItemName="([^"]*)"', reply)
        served.update(re.findall(r'<Value xsi:type="xsd:QName">([^<]*)<', reply))
    report.equal(sorted({name for row in table for name in row}), sorted(served), "docs/value-types.md")


def replay_page(plant, page):
    if not shutil.which("curl"):
        print("skipped: there is no curl here (Debian package curl)")
        return 77
    report = pages.Report()
    conversation = Conversation([plant, "--port", "0"], report)
    for step in pages.read_steps(pathlib.Path(page).resolve()):
        conversation.take(step)
    conversation.end()
    return report.get_status(least_checks=50)


def main():
    if len(sys.argv) == 3:
        return replay_page(*sys.argv[1:])
    plant, machine, xmlda = (str(pathlib.Path(program).resolve()) for program in sys.argv[1:])
    plant_command = [plant, "--port", "0"]
    report = pages.Report()
    for page in pages.list_pages():
        steps = pages.read_steps(page)
        conversation = Conversation(plant_command, report)
        for step in steps:
            conversation.take(step)
        conversation.end()
        if any(step.kind == "console" for step in steps):
            plays_machine = page.name == "getting-started.md"
            with Program([machine, "0"] if plays_machine else plant_command) as host, \
                    tempfile.TemporaryDirectory() as folder:
                for step in steps:
                    if step.kind == "console":
                        run_console(step, host.url, xmlda, report, folder)
    with Program(plant_command) as host:
        check_types(host.url, report)
    check_tls(plant, xmlda, report)
    return report.get_status(least_checks=40)


if __name__ == "__main__":
    sys.exit(main())
