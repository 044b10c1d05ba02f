"""A plant with a gateway in front of it, for tests; and what clients of the published schema send it."""

import atexit
import os
import shutil
import subprocess
import tempfile
import xml.etree.ElementTree as ElementTree

from programs import Program, wait_for

SOAP = "http://schemas.xmlsoap.org/soap/envelope/"
XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
HERE = os.path.dirname(os.path.abspath(__file__))


class Gateway(Program):
    def __init__(self, program, server, *arguments, port=0):
        super().__init__([program, server, "--port", str(port), *arguments], r"listening on \S+ port (?P<port>\d+)$")

    def wait_until_connected(self):
        wait_for(lambda: b'"running":true' in self.get("/api/status")[1], "the gateway reaches the server")
        return self

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
