#!/usr/bin/python3
"""Kills a server under a client that is to survive it, once while it holds a subscription, and starts it again.

reconnecting_test.py PLANT CLIENT...
"""

import os
import signal
import subprocess
import sys
import tempfile

from programs import DEADLINE, Plant, wait_for

STEADY = "/instruments/thermometer_1/reading"
NOTE = "/maintenance/note"


def write_note(plant, text):
    body = ('<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/" '
            'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
            'xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><soap:Body><Write ReturnValuesOnReply="false">'
            f'<ItemList><Items ItemName="{NOTE}"><Value xsi:type="xsd:string">{text}</Value></Items></ItemList></Write>'
            "</soap:Body></soap:Envelope>")
    subprocess.run(["curl", "--silent", "--fail", "--data-binary", body, f"http://127.0.0.1:{plant.port}/"], check=True,
                   timeout=DEADLINE, capture_output=True)


def main(program, client):
    plant = Plant(program)
    with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as errors:
        process = subprocess.Popen([*client, "127.0.0.1", str(plant.port), STEADY, NOTE, "/nowhere"], stdout=output, stderr=errors)

        def read(file):
            assert process.poll() is None, f"the client has ended with {process.returncode}"
            return os.pread(file.fileno(), 1 << 20, 0).decode()  # seeking would move the client as well

        def restart(plant, number):
            port = plant.port
            plant.kill()
            wait_for(lambda: read(errors).count("no answer, trying again: ") == number, "the client misses the server")
            plant = Plant(program, port)
            write_note(plant, f"after {number}")
            wait_for(lambda: f"{NOTE} = after {number}\n" in read(output), "the client has subscribed again")
            wait_for(lambda: read(errors).count("connected again\n") == number, "it says so")
            write_note(plant, f"later {number}")
            wait_for(lambda: f"{NOTE} = later {number}\n" in read(output), "the new subscription is polled")
            return plant

        try:
            wait_for(lambda: NOTE in read(output), "the client has subscribed")
            write_note(plant, "first")
            wait_for(lambda: f"{NOTE} = first\n" in read(output), "a poll brings a change")
            for number in (1, 2):
                plant = restart(plant, number)
            assert read(output).count(f"{STEADY} = ") == 1, "what has not changed is not printed again"
            process.send_signal(signal.SIGTERM)
            assert process.wait(DEADLINE) == 0
        finally:
            process.kill()
            process.wait()


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2:])
