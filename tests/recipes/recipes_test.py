#!/usr/bin/python3
"""Follows the recipes of docs/recipes.md, with other ports and shorter times than the page has.

recipes_test.py history|mqtt PLANT XMLDA
recipes_test.py prometheus PLANT GATEWAY
"""

import csv
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import tomllib
import urllib.error
import urllib.parse
import urllib.request

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(TESTS / "docs"), str(TESTS / "gateway")]

import pages  # pylint: disable=wrong-import-position
from gateway_site import Gateway  # pylint: disable=wrong-import-position
from programs import DEADLINE, Plant, wait_for  # pylint: disable=wrong-import-position

PLANT_URL = "http://127.0.0.1:8080"
STEPS = pages.read_steps(pages.PROJECT / "docs" / "recipes.md")


def find_block(kind, begin):
    """The only block of this kind that has a line which begins so."""
    found = [step.text for step in STEPS if step.kind == kind and re.search(f"^{re.escape(begin)}", step.text, re.MULTILINE)]
    assert len(found) == 1, f"{len(found)} blocks of {kind} with '{begin}'"
    return found[0]


def find_command(begin):
    """The line of a block for the shell that begins so."""
    line, = (line for line in find_block("sh", begin).splitlines() if line.startswith(begin))
    return line


def skip_without(*programs):
    for program in programs:
        if not shutil.which(program):
            print(f"skipped: there is no {program} here")
            sys.exit(77)


def choose_port():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return free.getsockname()[1]


class Folder:
    """Where the commands of a recipe run, with the programs that they start. All end with it."""

    def __init__(self, replacements):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="kx-recipes-"))
        self.replacements = replacements
        self.processes = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes:
            os.killpg(process.pid, signal.SIGTERM)
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        shutil.rmtree(self.path, ignore_errors=True)

    def replace(self, text):
        for documented, actual in self.replacements.items():
            assert documented in "".join(step.text for step in STEPS), f"the page does not have {documented}"
            text = text.replace(documented, actual)
        return text

    def write(self, name, text):
        (self.path / name).write_text(self.replace(text), encoding="utf-8")

    def run(self, command):
        result = subprocess.run(["bash", "-c", self.replace(command)], cwd=self.path, capture_output=True, text=True,
                                timeout=DEADLINE, check=False)
        assert result.returncode == 0 and not result.stderr, f"{command}: {result.returncode} {result.stderr}"
        return result.stdout

    def start(self, command):
        """Runs it until the end of the recipe; what it prints goes to a file, whose path is returned."""
        log = self.path / f"log-{len(self.processes)}"
        with open(log, "w", encoding="utf-8") as output:
            self.processes.append(subprocess.Popen(["bash", "-c", self.replace(command)], cwd=self.path, stdout=output,
                                                   stderr=output, start_new_session=True))
        return log


def test_prometheus(plant, gateway):
    skip_without("prometheus", "promtool")
    gateways = [Gateway(gateway, Plant(plant).url) for _ in range(2)]
    port = choose_port()
    with Folder({"127.0.0.1:8090": f"127.0.0.1:{gateways[0].port}", "127.0.0.1:8091": f"127.0.0.1:{gateways[1].port}",
                 "127.0.0.1:9090": f"127.0.0.1:{port}", "interval: 5s": "interval: 1s", "for: 10s": "for: 1s"}) as folder:
        folder.write("prometheus.yml", find_block("yaml", "global:"))
        folder.write("alerts.yml", find_block("yaml", "groups:"))
        assert "SUCCESS" in subprocess.run(["promtool", "check", "config", "prometheus.yml"], cwd=folder.path,
                                           capture_output=True, text=True, timeout=DEADLINE, check=True).stdout
        find_command("promtool check config prometheus.yml")
        log = folder.start(find_command("prometheus --config.file"))

        def ask(path):
            assert folder.processes[0].poll() is None, log.read_text(encoding="utf-8")
            try:
                with urllib.request.urlopen(f"http://127.0.0.1:{port}/api/v1/{path}", timeout=DEADLINE) as reply:
                    return json.load(reply)["data"]
            except (urllib.error.URLError, ConnectionError):
                return None

        def list_plants(query):
            data = ask("query?query=" + urllib.parse.quote(query))
            return data and sorted(result["metric"]["plant"] for result in data["result"])

        def has_alert(name, **labels):
            alerts = (ask("alerts") or {}).get("alerts", [])
            return any(alert["state"] == "firing" and {"alertname": name, **labels}.items() <= alert["labels"].items()
                       for alert in alerts)

        temperature = 'xmlda_item_value{item="/boiler/temperature"}'
        wait_for(lambda: list_plants(temperature) == ["north", "south"], "both plants have a temperature")
        wait_for(lambda: (list_plants("max by (plant, item) (xmlda_item_value)") or []).count("north") > 20, "all items")
        wait_for(lambda: has_alert("BadQuality", plant="south", quality="badSensorFailure",
                                   item="/instruments/thermometer_3/reading"), "a bad quality raises an alert")
        # A scrape that a busy machine delays raises the alert for a while.
        wait_for(lambda: not has_alert("ServerAway"), "no gateway is lost")
        gateways[1].kill()
        wait_for(lambda: has_alert("ServerAway", plant="south") and not has_alert("ServerAway", plant="north"),
                 "a lost gateway raises an alert, the other none")


def test_mqtt(plant, xmlda):
    skip_without("mosquitto", "mosquitto_pub", "mosquitto_sub")
    port = choose_port()
    url = Plant(plant).url
    with Folder({"listener 1883": f"listener {port}", "-p 1883": f"-p {port}", PLANT_URL: url}) as folder:
        folder.write("mosquitto.conf", find_block("text", "listener"))
        folder.path.chmod(0o755)  # started as root, the broker becomes another user
        folder.start(find_command("mosquitto -c"))

        def is_open():
            with socket.socket() as client:
                return client.connect_ex(("127.0.0.1", port)) == 0

        wait_for(is_open, "the broker listens")
        folder.start(f'xmlda() {{ "{xmlda}" "$@"; }}\n' + find_block("bash", "xmlda watch"))

        def subscribe(topic):
            result = subprocess.run(["mosquitto_sub", "-h", "127.0.0.1", "-p", str(port), "-t", topic, "-C", "1", "-W", "5",
                                     "-F", "%r %t %p"], capture_output=True, text=True, timeout=DEADLINE, check=False)
            return result.stdout.strip().split(" ", 2) if result.returncode == 0 else None

        def find_retained(topic, value):
            message = subscribe(topic)
            return message and message[:2] == ["1", topic] and json.loads(message[2])["value"] == value

        wait_for(lambda: find_retained("plant/maintenance/interval", "P90D"), "a value is retained")
        wait_for(lambda: find_retained("plant/instruments/thermometer_3/reading", 850), "so are all")
        note = 'it\'s "late", $(true) \\ `x`'
        subprocess.run([xmlda, "write", url, f"/maintenance/note={note}"], check=True, timeout=DEADLINE, capture_output=True)
        wait_for(lambda: find_retained("plant/maintenance/note", note), "a change is published")
        shown = folder.start(find_command("mosquitto_sub"))
        wait_for(lambda: "plant/boiler/temperature {\"item\":\"/boiler/temperature\",\"value\":1" in
                 shown.read_text(encoding="utf-8"), "the subscriber sees the temperature")


# A line of the protocol, without the escapes in names that the plant has no need of.
POINT = re.compile(r'xmlda(?:,index=\d+)?,item=[^ ,="]+(?:,unit=[^ ,="]+)?'
                   r' (?:value=-?\d+(?:\.\d+)?(?:e[+-]?\d+)?,|value_integer=-?\d+i,|value_boolean=(?:true|false),'
                   r'|value_text="(?:[^"\\]|\\.)*",)?(?:symbol="[^"]*",)?quality="[A-Za-z]+" (\d{10})\d{9}')


def check_points(xmlda, url):
    section, = (step.text for step in STEPS if step.kind == "toml")
    settings, = tomllib.loads(section)["inputs"]["execd"]
    assert settings["data_format"] == "influx"
    command = [xmlda if word == "xmlda" else word.replace(PLANT_URL, url) for word in settings["command"]]
    result = subprocess.run([*command, "--count", "40"], capture_output=True, text=True, timeout=DEADLINE, check=True)
    assert not result.stderr, result.stderr
    lines = result.stdout.splitlines()
    assert len(lines) >= 40, result.stdout
    for line in lines:
        assert POINT.fullmatch(line), line
    temperature, = (line for line in lines[:60] if ",item=/boiler/temperature," in line)
    assert abs(int(POINT.fullmatch(temperature)[1]) - time.time()) < 600, temperature


def test_history(plant, xmlda):
    skip_without("gnuplot", "sqlite3")
    url = Plant(plant).url
    check_points(xmlda, url)
    with Folder({PLANT_URL: url, "xmlda ": f"'{xmlda}' "}) as folder:
        folder.start(find_command("xmlda record") + " --interval 200ms")

        def is_recorded():
            rows = subprocess.run([xmlda, "replay", "--database", folder.path / "plant.db", "/boiler/temperature"],
                                  capture_output=True, text=True, timeout=DEADLINE, check=False)
            return rows.stdout.count("\n") >= 3

        wait_for(is_recorded, "some temperatures are recorded")
        query, statistics, bad = find_block("sh", "xmlda replay --database plant.db /boiler").splitlines()
        assert "  /boiler/temperature  1" in folder.run(query)
        assert re.search(r"│ /boiler/temperature +│ \d+ +│ 1[\d.]+ +│", folder.run(statistics))
        assert re.search(r"│ 2\S+ \S+ │ /instruments/thermometer_3/reading │ badSensorFailure +│", folder.run(bad))

        folder.write("trend.gnuplot", find_block("gnuplot", "plot "))
        folder.run(find_command("gnuplot"))
        picture = (folder.path / "trend.svg").read_text(encoding="utf-8")
        assert picture.rstrip().endswith("</svg>") and "/boiler/temperature, degC" in picture
        assert re.search(r"<path stroke='rgb\( *148, *0, 211\)' +d='M[^']*L", picture), picture

        note = 'first, "second"\nthird'
        subprocess.run([xmlda, "write", url, f"/maintenance/note={note}"], check=True, timeout=DEADLINE, capture_output=True)
        export = find_command("xmlda replay --database plant.db -r /boiler").replace("-r /boiler", "/boiler/* /maintenance/*")

        def read_rows():
            folder.run(export)
            with open(folder.path / "shift.csv", newline="", encoding="utf-8") as file:
                return list(csv.DictReader(file, strict=True))

        rows = wait_for(lambda: (rows := read_rows()) and any(row["value"] == note for row in rows) and rows, "the note")
        temperatures = [row for row in rows if row["item"] == "/boiler/temperature"]
        assert len(temperatures) >= 3
        assert all(100 < float(row["value"]) < 250 and row["unit"] == "degC" and row["quality"] == "good"
                   for row in temperatures)
        assert all(None not in row and None not in row.values() for row in rows)


if __name__ == "__main__":
    {"history": test_history, "mqtt": test_mqtt, "prometheus": test_prometheus}[sys.argv[1]](*sys.argv[2:])
