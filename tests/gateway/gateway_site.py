"""A plant with a gateway in front of it, for tests; and what clients of the published schema send it."""

import atexit
import http.client
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
import xml.etree.ElementTree as ElementTree

DEADLINE = 120  # seconds, for whatever is waited for
SOAP = "http://schemas.xmlsoap.org/soap/envelope/"
XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
HERE = os.path.dirname(os.path.abspath(__file__))


def wait_for(condition, what, seconds=DEADLINE):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise TimeoutError(f"waited in vain: {what}")


class Program:
    """A program that prints where it listens."""

    def __init__(self, command, pattern):
        self.output = tempfile.NamedTemporaryFile("w+", prefix="kx-gateway-test-")
        self.errors = tempfile.NamedTemporaryFile("w+", prefix="kx-gateway-test-")
        self.process = subprocess.Popen(command, stdout=self.output, stderr=self.errors)
        self.pattern = pattern
        atexit.register(self.kill)
        self.port = wait_for(self.read_port, f"{command[0]} listens")

    def read(self):
        with open(self.output.name, encoding="utf-8") as file:
            return file.read()

    def read_errors(self):
        with open(self.errors.name, encoding="utf-8") as file:
            return file.read()

    def read_port(self):
        if self.process.poll() is not None:
            raise RuntimeError(f"ended with {self.process.returncode}: {self.read_errors()}")
        found = re.search(self.pattern, self.read(), re.MULTILINE)
        return found and int(found[1])

    def stop(self):
        """Ends it as an operator would; gives the exit status and how long it took."""
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(DEADLINE)
        return status, time.monotonic() - begin

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class Plant(Program):
    def __init__(self, program, port=0):
        super().__init__([program, "--port", str(port)], r"^listening on http://127\.0\.0\.1:(\d+)$")


class Gateway(Program):
    def __init__(self, program, server, *arguments, port=0):
        super().__init__([program, server, "--port", str(port), *arguments], r"listening on \S+ port (\d+)$")

    def wait_until_connected(self):
        wait_for(lambda: b'"running":true' in self.get("/api/status")[1], "the gateway reaches the server")
        return self

    def send(self, method, target, body=None, headers=None):
        """On a connection of its own; gives status and body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=DEADLINE)
        try:
            connection.request(method, target, body, {"Connection": "close", **(headers or {})})
            reply = connection.getresponse()
            return reply.status, reply.read()
        finally:
            connection.close()

    def get(self, target, **headers):
        return self.send("GET", target, headers=headers)


def envelope(content):
    return (f'<soap:Envelope xmlns:soap="{SOAP}" xmlns:xsi="{XSI}" xmlns:xsd="http://www.w3.org/2001/XMLSchema"'
            f' xmlns:x="{XMLDA}" xmlns="{XMLDA}"><soap:Body>{content}</soap:Body></soap:Envelope>').encode()


class Schema:
    """Validates replies: envelopes of SOAP with the messages of the published schema, strictly."""

    def __init__(self, description):
        self.directory = tempfile.mkdtemp(prefix="kx-gateway-schema-")
        atexit.register(shutil.rmtree, self.directory, ignore_errors=True)
        shutil.copy(os.path.join(description, "xmlda.xsd"), self.directory)
        shutil.copy(os.path.join(HERE, "envelope.xsd"), self.directory)
        shutil.copy(os.path.join(HERE, "reply.xsd"), self.directory)

    def validate(self, document):
        result = subprocess.run(["xmllint", "--noout", "--schema", os.path.join(self.directory, "reply.xsd"), "-"],
                                input=document, capture_output=True, check=False)
        if result.returncode != 0:
            raise AssertionError(result.stderr.decode() + "\n" + document.decode())


class Client:
    """Posts requests to a gateway; every reply is validated."""

    def __init__(self, gateway, schema):
        self.gateway = gateway
        self.schema = schema

    def post(self, content):
        status, body = self.gateway.send("POST", "/", envelope(content), {"Content-Type": "text/xml; charset=utf-8"})
        self.schema.validate(body)
        return status, ElementTree.fromstring(body)

    def call(self, content):
        """The response element."""
        status, document = self.post(content)
        if status != 200:
            raise AssertionError(f"{status}: {ElementTree.tostring(document)}")
        return document[0][0]

    def fail(self, content):
        """The code of the fault, without prefix."""
        status, document = self.post(content)
        if status != 500:
            raise AssertionError(f"{status}: {ElementTree.tostring(document)}")
        fault = document[0][0]
        assert fault.tag == f"{{{SOAP}}}Fault", fault.tag
        assert [child.tag for child in fault] == ["faultcode", "faultstring"]
        return fault[0].text

    def read(self, *names, options='ReturnItemTime="true"'):
        items = "".join(f'<Items ItemName="{name}"/>' for name in names)
        response = self.call(f"<Read><Options {options}/><ItemList>{items}</ItemList></Read>")
        return [Item(element) for element in response.iter(f"{{{XMLDA}}}Items")]


class Item:
    """An item of a reply, as a generated client would have it."""

    def __init__(self, element):
        self.element = element
        value = element.find(f"{{{XMLDA}}}Value")
        quality = element.find(f"{{{XMLDA}}}Quality")
        self.handle = element.get("ClientItemHandle")
        self.time = element.get("Timestamp")
        self.code = (element.get("ResultID") or "").removeprefix("da:")
        self.quality = None if quality is None else quality.get("QualityField")
        self.type = None if value is None else value.get(f"{{{XSI}}}type")
        self.text = None if value is None else value.text
        self.members = None if value is None else [member.text for member in value]
