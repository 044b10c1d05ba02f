"""A plant with a gateway in front of it, for tests; and what clients of the published schema send it."""

import atexit
import http.client
import http.server
import os
import re
import shutil
import ssl
import subprocess
import tempfile
import threading
import xml.etree.ElementTree as ElementTree

from programs import DEADLINE, Program, wait_for

SOAP = "http://schemas.xmlsoap.org/soap/envelope/"
XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
HERE = os.path.dirname(os.path.abspath(__file__))


class Certificate:
    """A certificate that signed itself, and its key, in files that are removed at the end."""

    def __init__(self, names="IP:127.0.0.1"):
        directory = tempfile.mkdtemp(prefix="kx-gateway-certificate-")
        atexit.register(shutil.rmtree, directory, ignore_errors=True)
        self.file = os.path.join(directory, "certificate.pem")
        self.key = os.path.join(directory, "key.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=test",
                        "-addext", f"subjectAltName={names}", "-out", self.file, "-keyout", self.key],
                       check=True, capture_output=True)
        self.options = ("--certificate", self.file, "--private-key", self.key)


class Gateway(Program):
    def __init__(self, program, server, *arguments, port=0, certificate=None):
        self.tls = ssl.create_default_context(cafile=certificate.file) if certificate else None
        options = certificate.options if certificate else ()
        super().__init__([program, server, "--port", str(port), *options, *arguments], r"listening on \S+ port (?P<port>\d+)$")

    def connect(self):
        if self.tls:
            return http.client.HTTPSConnection("127.0.0.1", self.port, timeout=DEADLINE, context=self.tls)
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=DEADLINE)

    def wait_until_connected(self):
        wait_for(lambda: b'"running":true' in self.get("/api/status")[1], "the gateway reaches the server")
        return self

    def send(self, method, target, body=None, headers=None):
        """On a connection of its own; gives status and body."""
        connection = self.connect()
        try:
            connection.request(method, target, body, {"Connection": "close", **(headers or {})})
            reply = connection.getresponse()
            return reply.status, reply.read()
        finally:
            connection.close()

    def get(self, target, **headers):
        return self.send("GET", target, headers=headers)


class Recorder:
    """Between a gateway and a plant: passes everything on, and knows which subscriptions the plant has."""

    def __init__(self, plant):
        self.subscriptions = set()
        self.items = 0  # of the last subscription
        recorder = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                connection = http.client.HTTPConnection("127.0.0.1", plant.port, timeout=DEADLINE)
                connection.request("POST", "/", body, {"Content-Type": "text/xml", "Connection": "close"})
                reply = connection.getresponse()
                content = reply.read()
                connection.close()
                recorder.notice(body, content)
                self.send_response(reply.status)
                self.send_header("Content-Type", reply.getheader("Content-Type", "text/xml"))
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def notice(self, request, reply):
        if b"<SubscriptionCancel" in request:
            self.subscriptions.discard(re.search(rb'ServerSubHandle="(.*?)"', request)[1])
        elif b"<Subscribe" in request:
            self.subscriptions.add(re.search(rb'ServerSubHandle="(.*?)"', reply)[1])
            self.items = request.count(b"<Items ")

    def close(self):
        self.server.shutdown()
        self.server.server_close()


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
