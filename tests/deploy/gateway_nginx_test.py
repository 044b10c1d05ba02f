#!/usr/bin/python3
"""Shows that nginx with the configuration for gateways of deploy/ keeps its promises: gateway_nginx_test.py PLANT GATEWAY"""

import concurrent.futures
import json
import os
import re
import shutil
import sys
import unittest

from plant_site import PASSWORD, ProxiedSite, authorize, run
from programs import Plant, Program, wait_for

SKIPPED = 77
SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "deploy", "nginx")
SETPOINT = "/boiler/temperature_setpoint"
USERS = ("operator", "visitor", "nobody")


def start_gateway(program, plant_program, *options):
    started = Program([program, f"http://127.0.0.1:{plant_program.port}", "--port", "0", *options],
                      r"listening on \S+ port (?P<port>\d+)$")
    wait_for(lambda: "the server answers" in started.read(), "the gateway reaches the plant")
    return started


class GatewaySite(ProxiedSite):
    """A plant, two gateways in front of it, and nginx in front of these."""

    def __init__(self, plant_program, gateway_program, nginx_program):
        super().__init__("kx-gateway")
        shutil.copy(os.path.join(SOURCES, "kx-gateway", "groups.conf"), self.settings)
        self.plants = [Plant(plant_program)]
        self.gateways = [start_gateway(gateway_program, self.plants[0]),
                         start_gateway(gateway_program, self.plants[0], "--read-only")]
        password = run("openssl", "passwd", "-6", PASSWORD).strip()
        self.write(os.path.join(self.settings, "passwords"), "".join(f"{name}:{password}\n" for name in USERS))
        with open(os.path.join(SOURCES, "kx-gateway.conf"), encoding="utf-8") as file:
            self.deployed = file.read()
        self.start_nginx(nginx_program, None)

    def adapt(self, port):
        text = self.deployed
        for old, new in (("listen 443 ssl;", f"listen 127.0.0.1:{port} ssl;"), ("listen [::]:443 ssl;", ""),
                         ("127.0.0.1:8090", f"127.0.0.1:{self.gateways[0].port}"),
                         ("127.0.0.1:8091", f"127.0.0.1:{self.gateways[1].port}"),
                         ("/etc/nginx/kx-gateway/", self.settings + "/"), ("/var/log/nginx/", self.directory + "/")):
            if old not in text:
                raise AssertionError(f"the configuration has no '{old}'")
            text = text.replace(old, new)
        return text

    def close(self):
        super().close()
        for gateway in self.gateways:
            gateway.kill()


class GatewayTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.site = GatewaySite(plant, gateway, nginx)
        cls.addClassCleanup(cls.site.close)

    def get(self, user, path):
        return self.site.client(user).send(None, method="GET", path=path)

    def post(self, user, path, content, origin=None):
        headers = {"Content-Type": "application/json", **({"Origin": origin} if origin else {})}
        status, body = self.site.client(user).send(json.dumps(content), headers, path=path)
        return status, body

    def test_who_may_do_what(self):
        self.assertEqual(self.get(None, "/")[0], 401)
        self.assertEqual(self.site.client("operator", password="wrong").send(None, method="GET")[0], 401)
        self.assertEqual(self.get("nobody", "/")[0], 403)
        write = f'<Write><ItemList><Items ItemName="{SETPOINT}"><Value>{{}}</Value></Items></ItemList></Write>'
        for user, code in (("visitor", "E_READONLY"), ("operator", "")):
            self.assertIn(b"<script", self.get(user, "/")[1])
            self.assertEqual(self.get(user, "/nothing")[0], 404)
            found = re.search('ResultID="[a-z]*:(.*?)"', self.site.client(user).call(write.format(181.5)))
            self.assertEqual(found[1] if found else "", code)
            status, body = self.post(user, "/api/write", {"item": SETPOINT, "value": 182.5})
            self.assertEqual((status, json.loads(body)["code"]), (200, code))

    def test_origin_and_address(self):
        write = {"item": SETPOINT, "value": 183.5}
        own = f"https://127.0.0.1:{self.site.port}"
        self.assertEqual(self.post("operator", "/api/write", write, own)[0], 200)
        self.assertEqual(self.post("operator", "/api/write", write, "https://evil.example")[0], 403)
        self.assertIn(f'location="{own}/"'.encode(), self.get("operator", "/?wsdl")[1])

    def test_events_are_not_kept_back(self):
        with self.site.connect() as connection:
            connection.sendall(f"GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:{self.site.port}\r\nAuthorization: "
                               f"{authorize('visitor')}\r\n\r\n".encode())
            received = b""

            def expect(text):
                nonlocal received
                while text not in received:
                    piece = connection.recv(65536)
                    self.assertTrue(piece, received)
                    received += piece

            expect(b"event: state")
            page = re.search(rb'"page":"(.*?)"', received)[1].decode()
            self.assertEqual(self.post("visitor", "/api/watch", {"page": page, "items": [SETPOINT]})[0], 200)
            expect(b"event: items")
            self.assertEqual(self.post("operator", "/api/write", {"item": SETPOINT, "value": 184.25})[0], 200)
            expect(b"184.25")

    def test_held_polls(self):
        client = self.site.client("visitor")
        subscribe = (f'<Subscribe ReturnValuesOnReply="true"><ItemList><Items ItemName="{SETPOINT}"/></ItemList>'
                     '</Subscribe>')
        handle = re.search('ServerSubHandle="(.*?)"', client.call(subscribe))[1]
        poll = (f'<SubscriptionPolledRefresh WaitTime="600000"><ServerSubHandles>{handle}</ServerSubHandles>'
                '</SubscriptionPolledRefresh>')
        with concurrent.futures.ThreadPoolExecutor() as pool:
            held = pool.submit(client.call, poll)
            self.assertEqual(self.post("operator", "/api/write", {"item": SETPOINT, "value": 185.25})[0], 200)
            self.assertIn("185.25", held.result())


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


if __name__ == "__main__":
    plant, gateway = sys.argv[1:3]
    del sys.argv[1:3]
    nginx = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin")
    if not nginx:
        skip("there is no nginx here (Debian package nginx-light)")
    if not shutil.which("openssl"):
        skip("there is no openssl here")
    unittest.main(verbosity=2)
