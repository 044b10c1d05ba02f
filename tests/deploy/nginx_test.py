#!/usr/bin/python3
"""Shows that nginx with the configuration of deploy/ keeps its promises, in front of two plants.

nginx_test.py PLANT [test...]
"""

import concurrent.futures
import datetime
import http.client
import os
import re
import shutil
import socket
import ssl
import subprocess
import sys
import time
import unittest

from plant_site import Site, authorize, envelope
from programs import DEADLINE, wait_for

SKIPPED = 77
SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "deploy")
SETPOINT = "boiler/temperature_setpoint"
READ = f'<Read><ItemList><Items ItemName="{SETPOINT}"/></ItemList></Read>'
BODY_LIMIT = 1024 * 1024
IDLE_CLIENTS = 200
POLLS_OF_ONE_CLIENT = 4
POLLS_OF_ALL_CLIENTS = 60
KEPT_CONNECTIONS = 8  # to the plants: 4 for each of two worker processes


def write(value, element="Write"):
    return (f'<{element} ReturnValuesOnReply="true"><ItemList><Items ItemName="{SETPOINT}">'
            f'<Value xsi:type="xsd:double">{value}</Value></Items></ItemList></{element.split()[0]}>')


def subscribe(ping_rate="60000"):
    return (f'<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="{ping_rate}"><ItemList>'
            f'<Items ItemName="{SETPOINT}"/></ItemList></Subscribe>')


def poll(handle, hold_time=None):
    attribute = f' HoldTime="{hold_time}"' if hold_time else ""
    return (f"<SubscriptionPolledRefresh{attribute}><ServerSubHandles>{handle}</ServerSubHandles>"
            "</SubscriptionPolledRefresh>")


def in_seconds(seconds):
    time_point = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=seconds)
    return time_point, time_point.strftime("%Y-%m-%dT%H:%M:%S.%fZ")


def get_handle(reply):
    return re.search(r'ServerSubHandle="(\d+)"', reply)[1]


def get_value(reply):
    found = re.search(r"<Value [^>]*>([^<]*)</Value>", reply)
    return found and float(found[1])


class SiteTest(unittest.TestCase):
    """Two plants behind nginx, made once for the tests of a class."""

    IS_SECURE = False

    @classmethod
    def setUpClass(cls):
        cls.site = Site(plant, SOURCES, nginx, module, is_secure=cls.IS_SECURE)
        cls.addClassCleanup(cls.site.close)

    def read_setpoints(self):
        return [get_value(plant.send("POST", "/", envelope(READ))[1].decode()) for plant in self.site.plants]

    def count_connections(self, plants=None):
        """How many connections the plants have."""
        ports = {f"{each.port:04X}" for each in plants or self.site.plants}
        with open("/proc/net/tcp", encoding="utf-8") as file:
            rows = [line.split() for line in file.readlines()[1:]]
        established = "01"
        return sum(row[1].split(":")[1] in ports and row[3] == established for row in rows)

    def check_refused(self, client, statuses, body=None, **arguments):
        status, reply = client.send(envelope(READ) if body is None else body, **arguments)
        self.assertIn(status, statuses)
        self.assertNotIn(b"Envelope", reply)
        self.assertNotEqual(reply, b"Bad request", "it was a server that refused")


class Access(SiteTest):
    def test_nothing_without_credentials(self):
        self.check_refused(self.site.client(), [401])
        self.check_refused(self.site.client("operator", password="wrong"), [401])
        self.check_refused(self.site.client("unheard-of"), [401])
        self.check_refused(self.site.client(certificate="stranger"), [400])
        self.check_refused(self.site.client(), [401], headers={"Authorization": "Basic !"})
        self.check_refused(self.site.client(), [401], headers={"Authorization": "Bearer operator"})

    def test_nothing_for_those_in_no_group(self):
        self.check_refused(self.site.client("nobody"), [403])
        self.check_refused(self.site.client(certificate="visitor"), [403])
        self.check_refused(self.site.client("operator", certificate="visitor"), [403])

    def test_nothing_without_tls(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.site.port, timeout=DEADLINE)
        self.addCleanup(connection.close)
        connection.request("POST", "/", envelope(READ), {"Authorization": authorize("operator")})
        reply = connection.getresponse()
        self.assertEqual(reply.status, 400)
        self.assertNotIn(b"Envelope", reply.read())

    def test_only_tls_1_2_and_1_3(self):
        for version, is_accepted in {"tls1": False, "tls1_1": False, "tls1_2": True, "tls1_3": True}.items():
            with self.subTest(version):
                result = subprocess.run(
                    ["openssl", "s_client", "-connect", f"127.0.0.1:{self.site.port}", f"-{version}",
                     "-cipher", "DEFAULT:@SECLEVEL=0"], input="", capture_output=True, text=True, timeout=DEADLINE)
                self.assertEqual(result.returncode == 0, is_accepted, result.stderr)
                self.assertEqual("alert protocol version" in result.stderr, not is_accepted, result.stderr)

    def test_readers_read(self):
        for client in self.site.client("historian"), self.site.client(certificate="dashboard"):
            self.assertEqual(get_value(client.call(READ)), self.read_setpoints()[0])
            self.assertIn('Name="boiler"', client.call("<Browse/>"))

    def test_full_access_writes(self):
        before = self.read_setpoints()
        for client in self.site.client("operator"), self.site.client(certificate="control-room"):
            self.assertEqual(get_value(client.call(write(170))), 170)
            self.assertIn(170, self.read_setpoints())
            client.call(write(before[0]))
        self.assertEqual(self.read_setpoints(), before)

    def test_a_name_beside_a_certificate_gives_no_rights(self):
        client = self.site.client("operator", certificate="dashboard")
        self.check_refused(client, [403], envelope(write(151.5)))
        self.assertEqual(get_value(client.call(READ)), self.read_setpoints()[0])

    def test_only_post(self):
        for method in "GET", "PUT", "DELETE", "OPTIONS", "PROPFIND", "write":
            with self.subTest(method):
                self.check_refused(self.site.client("operator"), [400, 405], method=method)
                self.check_refused(self.site.client("historian"), [400, 405], envelope(write(152.5)), method=method)
        self.assertNotIn(152.5, self.read_setpoints())

    def test_pages_of_other_sites(self):
        """A browser sends a page's request with the password or certificate of whoever looks at it. It says where the
        page is from, and asks first whether it may send XML."""
        before = self.read_setpoints()
        own = f"https://127.0.0.1:{self.site.port}"
        clients = self.site.client("operator"), self.site.client(certificate="control-room")
        for client in clients:
            for origin in "https://evil.example", "null", "", own.replace("https", "http"), own + "1", "https://127.0.0.1":
                with self.subTest(origin):
                    self.check_refused(client, [403], envelope(write(154.5)), headers={"Origin": origin})
            for content_type in ("text/plain", "text/plain; text/xml", "text/plain, text/xml", "TEXT/PLAIN", "", "xml",
                                 "application/x-www-form-urlencoded", "multipart/form-data; boundary=xml", "text/xmlx"):
                with self.subTest(content_type):
                    self.check_refused(client, [415], envelope(write(154.5)), headers={"Content-Type": content_type})
            del client.headers["Content-Type"]
            self.check_refused(client, [415], envelope(write(154.5)))
            self.check_refused(client, [405], b"", method="OPTIONS",
                               headers={"Origin": "https://evil.example", "Access-Control-Request-Method": "POST",
                                        "Access-Control-Request-Headers": "content-type"})
        self.assertEqual(self.read_setpoints(), before)

    def test_pages_and_programs_of_ones_own(self):
        own = f"https://127.0.0.1:{self.site.port}"
        client = self.site.client("operator")
        self.assertEqual(client.send(envelope(READ), headers={"Origin": own})[0], 200)
        self.assertEqual(client.send(envelope(READ), headers={"Origin": "HTTPS://Plant", "Host": "plant"})[0], 200)
        for content_type in "text/xml", "Text/XML ;charset=utf-8", "application/xml", "application/soap+xml; action=x":
            with self.subTest(content_type):
                self.assertEqual(client.send(envelope(READ), headers={"Content-Type": content_type})[0], 200)

    def test_passwords_do_not_reach_the_servers(self):
        """A plant that is replaced by a listener shows what nginx sends."""
        site = Site(plant, SOURCES, nginx, module)
        self.addCleanup(site.close)
        with socket.socket() as listener:
            site.plants[1].kill()
            site.plants[0].kill()
            listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            listener.bind(("127.0.0.1", site.plants[0].port))
            listener.listen()
            listener.settimeout(DEADLINE)
            with concurrent.futures.ThreadPoolExecutor() as pool:
                answer = pool.submit(site.client("operator").send, envelope(READ))
                connection, _ = listener.accept()
                with connection:
                    received = b""
                    while not received.endswith(b"</soap:Envelope>"):
                        received += connection.recv(65536)
                self.assertEqual(answer.result()[0], 502)
        self.assertNotIn(b"authorization", received.lower())
        self.assertNotIn(b"connection: close", received.lower())


class Readers(SiteTest):
    """A reader tries to write. Each of these would be a Write for a server, or might be taken for one."""

    def setUp(self):
        self.before = self.read_setpoints()

    def tearDown(self):
        self.assertEqual(self.read_setpoints(), self.before)

    def check_harmless(self, body, **arguments):
        for client in self.site.client("historian"), self.site.client(certificate="dashboard"):
            self.check_refused(client, [400, 403, 413, 415], body, **arguments)

    def check_refused_but_dangerous(self, body, **arguments):
        """The server itself would obey."""
        self.check_harmless(body, **arguments)
        status, _ = self.site.plants[0].send("POST", "/", body)
        self.assertEqual(status, 200)
        self.assertNotEqual(self.read_setpoints(), self.before, "the server takes this for no Write: no trick at all")
        self.site.plants[0].send("POST", "/", envelope(write(self.before[0])))

    def test_by_the_action_in_the_header(self):
        xmlda = "http://opcfoundation.org/webservices/XMLDA/1.0/"
        for action in f'"{xmlda}Write"', f'"{xmlda}Read"', f"{xmlda}GetStatus", '""', "Write", "":
            with self.subTest(action):
                self.check_refused_but_dangerous(envelope(write(153.625)), headers={"SOAPAction": action})
        self.check_harmless(envelope(READ), headers={"SOAPAction": f'"{xmlda}Write"'})

    def test_by_content_type(self):
        for content_type in "application/soap+xml", "text/plain", "application/x-www-form-urlencoded", "":
            with self.subTest(content_type):
                self.check_refused_but_dangerous(envelope(write(153.625)), headers={"Content-Type": content_type})

    def test_by_path(self):
        for path in "/Read", "/@kx_servers", "/%40kx_servers", "/../x", "//", "/?write", "*", "http://127.0.0.1:8081/":
            with self.subTest(path):
                self.check_harmless(envelope(write(153.625)), path=path)

    def test_by_headers(self):
        for name, value in [("X-Original-Method", "GET"), ("Upgrade", "h2c"), ("kx_group", "full"), ("Expect", "x"),
                            ("X-Accel-Redirect", "@kx_servers"), ("Host", "kx_servers"), ("Content-Encoding", "gzip")]:
            with self.subTest(name):
                self.check_harmless(envelope(write(153.625)), headers={name: value})

    def test_by_prefixes_and_blanks(self):
        xmlda = "http://opcfoundation.org/webservices/XMLDA/1.0/"
        plain = envelope(write(153.625)).decode()
        for prefix in "w", "_", "wé", "Read.", "x-y":
            with self.subTest(prefix):
                body = plain.replace("<Write ", f'<{prefix}:Write xmlns:{prefix}="{xmlda}" ')
                self.check_refused_but_dangerous(body.replace("</Write>", f"</{prefix}:Write>").encode())
        for blank in "\n", "\t", "\r\n", "\r", "  ":
            with self.subTest(repr(blank)):
                self.check_refused_but_dangerous(plain.replace("<Write ", f"<Write{blank}")
                                                 .replace("</Write>", f"</Write{blank}>").encode())

    def test_by_what_stands_around(self):
        plain = envelope(write(153.625)).decode()
        for name, body in {
            "comment": plain.replace("<Write ", "<!-- <Read/> --><Write "),
            "section": plain.replace("<Write ", "<![CDATA[<Read>]]><Write "),
            "instruction": plain.replace("<Write ", "<?Read?><Write "),
            "byte order mark": "\ufeff" + plain,
            "no declaration": plain.partition("?>")[2],
            "second body": plain.replace("</soap:Envelope>", "<soap:Body><Read/></soap:Body></soap:Envelope>"),
            "behind a poll": plain.replace("<Write ", poll("1") + "<Write "),
            "padding": plain.replace("<soap:Body>", "<soap:Body>" + " " * 100_000),
            "long attribute": plain.replace("<Write ", f'<Write a="{"<".replace("<", "x") * 100_000}" '),
            "declared single bytes": plain.replace("utf-8", "iso-8859-1"),
            "declared windows": plain.replace("utf-8", "windows-1252"),
        }.items():
            with self.subTest(name):
                self.check_refused_but_dangerous(body.encode())

    def test_by_the_shortest_tag(self):
        self.check_harmless(envelope("<Write/>"))
        self.check_harmless(envelope("<Write></Write>"))

    def test_by_other_services_beside_it(self):
        plain = envelope(write(153.625)).decode()
        for other in "<GetStatus/>", "<Browse/>", READ:
            with self.subTest(other):
                self.check_harmless(plain.replace("<Write ", other + "<Write ").encode())

    def test_by_encoding(self):
        plain = envelope(write(153.625)).decode()
        undeclared = plain.partition("?>")[2]
        for encoding in "utf-16", "utf-16-le", "utf-16-be", "utf-32", "utf-32-be", "utf-7", "cp037":
            for name, text in {"right": plain.replace("utf-8", encoding), "none": undeclared, "wrong": plain}.items():
                with self.subTest(f"{encoding}, declaration {name}"):
                    self.check_harmless(text.encode(encoding))
        self.check_refused_but_dangerous(plain.replace("utf-8", "utf-16").encode("utf-16"))
        for encoding in "iso-8859-1", "utf-16", "utf-8x", "x":
            with self.subTest(encoding):
                self.check_harmless(envelope(READ).replace(b"utf-8", encoding.encode()))
        self.assertEqual(self.site.client("historian").send(envelope(READ).replace(b"utf-8", b"UTF-8"))[0], 200)

    def test_by_document_types(self):
        plain = envelope(write(153.625)).decode()
        entity = '<!DOCTYPE x [<!ENTITY w "' + write(153.625).replace('"', "'").replace("<", "&#60;") + '">]>'
        body = plain.replace("?>", "?>" + entity).replace(write(153.625), "&w;")
        self.check_harmless(body.encode())
        self.check_harmless(plain.replace("?>", "?><!DOCTYPE x>").encode())

    def test_by_size(self):
        padded = envelope(write(153.625)).decode().replace("<soap:Body>", "<soap:Body>" + " " * BODY_LIMIT)
        self.check_harmless(padded.encode())
        small = envelope(write(153.625))
        self.check_refused_but_dangerous(small[:-16] + b" " * (BODY_LIMIT - len(small)) + small[-16:])

    def test_by_pieces(self):
        body = envelope(write(153.625))
        for size in 1, 7, 1000:
            with self.subTest(size):
                pieces = [body[at:at + size] for at in range(0, len(body), size)]
                self.check_harmless(iter(pieces), headers={"Transfer-Encoding": "chunked"}, chunked=True)
        self.check_harmless(iter([b" " * 65536] * 20 + [body]), headers={"Transfer-Encoding": "chunked"},
                            chunked=True)

    def exchange(self, data):
        """Sends bytes as a reader, gives all that comes back."""
        with self.site.connect() as connection:
            connection.sendall(data)
            received = b""
            try:
                while piece := connection.recv(65536):
                    received += piece
            except (ConnectionResetError, ssl.SSLError):
                pass
        return received

    def test_by_requests_inside_requests(self):
        """What one of the two takes for a body the other must not take for a request."""
        head = ("POST / HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nAuthorization: " + authorize("historian") +
                "\r\n").encode()
        body = envelope(write(153.625))
        inner = b"POST / HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n" % len(body) + body
        read = envelope(READ)
        close = b"Connection: close\r\n"
        for name, data in {
            "both lengths": head + close + b"Content-Length: %d\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" %
                            (len(inner) + 5) + inner,
            "two lengths": head + close + b"Content-Length: %d\r\nContent-Length: 0\r\n\r\n" % len(body) + body,
            "odd coding": head + close + b"Transfer-Encoding: xchunked\r\nContent-Length: 0\r\n\r\n" + inner,
            "none": head + b"Content-Length: 0\r\n\r\n" + inner.replace(b"Host: x", b"Host: x\r\nConnection: close"),
            "behind a Read": head + b"Content-Length: %d\r\n\r\n" % len(read) + read +
                             inner.replace(b"Host: x", b"Host: x\r\nConnection: close"),
            "folded": head + close + b"X: y\r\n Content-Length: 0\r\nContent-Length: %d\r\n\r\n" % len(body) + body,
            "old protocol": head.replace(b"HTTP/1.1", b"HTTP/1.0") + b"Content-Length: %d\r\n\r\n" % len(body) + body,
            "no protocol": b"POST /\r\n" + body,
        }.items():
            with self.subTest(name):
                received = self.exchange(data)
                self.assertNotIn(b"WriteResponse", received)
                self.assertNotIn(b"153.625", received)

    def test_texts_about_writing_are_no_writes(self):
        client = self.site.client("historian")
        for item in "Write", "a/Write", "Overwrite", "x:Write", "WriteProtected":
            with self.subTest(item):
                client.call(f'<Read><ItemList><Items ItemName="{item}" ClientItemHandle="Write"/></ItemList></Read>')
        client.call("<GetProperties><PropertyNames>Write</PropertyNames></GetProperties>")


class Limits(SiteTest):
    def test_the_largest_body(self):
        body = envelope(READ)
        padded = body[:-16] + b" " * (BODY_LIMIT - len(body)) + body[-16:]
        for user in "historian", "operator":
            client = self.site.client(user)
            self.assertEqual(client.send(padded)[0], 200)
            self.check_refused(client, [413], padded + b" ")
            self.check_refused(client, [413], iter([padded, b" "]), headers={"Transfer-Encoding": "chunked"},
                               chunked=True)

    def test_polls_are_not_held_for_ever(self):
        client = self.site.client("historian")
        for hold_time in in_seconds(3600)[1], "2999-01-01T00:00:00Z", "2099-01-01T00:00:00", "2999-01-01T00:00:00+14:00":
            with self.subTest(hold_time):
                self.check_refused(client, [403], envelope(poll("1", hold_time)))
        far_off = poll("1", "2999-01-01T00:00:00Z")
        for name, body in {
            "characters": far_off.replace("2999", "&#50;999"), "blanks": far_off.replace('="', ' \n= "'),
            "quotes": far_off.replace('"', "'"), "year": far_off.replace("2999", "12999"),
            "blank inside": far_off.replace("2999", " 2999"), "midnight": far_off.replace("00:00:00Z", "24:00:00Z"),
            "prefix": far_off.replace("HoldTime", 'xmlns:x="http://opcfoundation.org/webservices/XMLDA/1.0/" x:HoldTime'),
        }.items():
            with self.subTest(name):
                self.check_refused(client, [400, 403], envelope(body))
        for hold_time in "2001-01-01T00:00:00Z", "2001-01-01T00:00:00.5+02:00", "2001-01-01T00:00:00", in_seconds(0)[1]:
            with self.subTest(hold_time):
                client.call(poll("1", hold_time))

    def test_polls_of_one_client(self):
        """They do not take the threads from the others."""
        client = self.site.client("historian")
        reader = self.site.client(certificate="dashboard")
        with concurrent.futures.ThreadPoolExecutor(POLLS_OF_ONE_CLIENT) as pool:
            wait_for(lambda: self.count_connections() == 0, "connections of before are closed")
            held = [pool.submit(client.send, envelope(poll("1", in_seconds(10)[1])))
                    for _ in range(POLLS_OF_ONE_CLIENT)]
            wait_for(lambda: self.count_connections() >= POLLS_OF_ONE_CLIENT, "the polls are held")
            self.check_refused(client, [429])
            self.assertIsNotNone(get_value(reader.call(READ)))
            self.assertEqual([answer.result()[0] for answer in held], [200] * POLLS_OF_ONE_CLIENT)

    def test_subscriptions_are_not_kept_for_ever(self):
        client = self.site.client("historian")
        for ping_rate in "300001", "2147483647", "+2147483647", " 2147483647 ", "9999999999":
            with self.subTest(ping_rate):
                self.check_refused(client, [403], envelope(subscribe(ping_rate)))
        far_off = subscribe("2147483647")
        for name, body in {
            "characters": far_off.replace("2147", "&#50;147"), "blanks": far_off.replace('Rate="', 'Rate \n= "'),
            "quotes": far_off.replace('"', "'"), "zeros": far_off.replace("2147483647", "0" * 60 + "2147483647"),
            "commas": far_off.replace("2147483647", "2,147,483,647"),
            "second": subscribe().replace("<Subscribe ", "<!-- SubscriptionPingRate='1' --><Subscribe ")
                      .replace("60000", "2147483647"),
            "prefix": far_off.replace("SubscriptionPingRate",
                                      'xmlns:x="http://opcfoundation.org/webservices/XMLDA/1.0/" x:SubscriptionPingRate'),
        }.items():
            with self.subTest(name):
                self.check_refused(client, [400, 403], envelope(body))
        for ping_rate in "300000", "0", "+60000", " 60000", "-2147483648":
            with self.subTest(ping_rate):
                get_handle(client.call(subscribe(ping_rate)))

    def test_a_name_alone_takes_nobody_s_place(self):
        """Requests without a password are refused at once, but nginx still waits for their bodies."""
        request = ("POST / HTTP/1.1\r\nHost: x\r\nAuthorization: " + authorize("historian", "guessed") +
                   "\r\nContent-Length: 100000\r\n\r\n").encode()
        for count in POLLS_OF_ONE_CLIENT, POLLS_OF_ALL_CLIENTS:
            for _ in range(count):
                connection = self.site.connect(source="127.0.0.7")
                self.addCleanup(connection.close)
                connection.sendall(request)
                self.assertEqual(connection.recv(65536).split()[1], b"401")
            for client in self.site.client("historian"), self.site.client(certificate="control-room"):
                self.assertIsNotNone(get_value(client.call(READ)))

    def test_no_request_keeps_nginx_busy(self):
        """While the gate looks at a request, nobody else of the same process of nginx is served. Compared with a
        request of the same size that has just blanks."""
        start, end = envelope(READ + "#").decode().split("#")

        def fill(text):
            size = BODY_LIMIT - len(start) - len(end)
            return (start + (text * (size // len(text) + 1))[:size] + end).encode()

        client = self.site.client("historian", source="127.0.0.8")
        plain = self.measure_processor(client, fill(" "))
        for name, body in {
            "blanks in front": b" " * (BODY_LIMIT - len(envelope(READ))) + envelope(READ),
            "blanks behind a name": fill("<a HoldTime" + " " * BODY_LIMIT),
            "blanks behind an equals sign": fill("<a HoldTime=" + " " * BODY_LIMIT),
            "a long name": fill("<" + "x" * (BODY_LIMIT - 2000) + "Write "),
            "long names": fill("x" * 1000 + "Write "),
            "names of tags": fill("<Write_"), "names in texts": fill("Write "), "slashes": fill("Write/"),
            "names of attributes": fill("HoldTime "), "names of other attributes": fill("SubscriptionPingRate "),
            "hold times": fill('HoldTime="2001-01-01T00:00:00Z" '), "ping rates": fill('SubscriptionPingRate="1" '),
            "long values": fill('HoldTime="' + "2" * BODY_LIMIT),
            "a tag for each byte": fill("<"), "short tags": fill("<a>"), "bytes that are not UTF-8": fill(" ").replace(b"  ", b"\xff "),
        }.items():
            with self.subTest(name):
                self.assertLess(self.measure_processor(client, body), 6 * plain + 0.3)

    def measure_processor(self, client, body):
        """How long the processes of nginx compute for ten such requests, in seconds."""
        before = self.site.read_processor_time()
        for _ in range(10):
            client.send(body)
        return self.site.read_processor_time() - before

    def test_requests_come_too_fast(self):
        """They are counted before anyone asks who it is, so that guessing passwords is limited, too."""
        request = b"POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n"
        with self.site.connect(source="127.0.0.9") as connection:
            connection.settimeout(DEADLINE)
            received = b""
            deadline = time.monotonic() + DEADLINE
            while b"HTTP/1.1 429" not in received and time.monotonic() < deadline:
                connection.sendall(request * 100)
                received = received[-20:] + connection.recv(1 << 20)
        self.assertIn(b"HTTP/1.1 429", received)

    def open_many_connections_to_the_plants(self):
        clients = [self.site.client(f"station{number}") for number in range(20)]
        wait_for(lambda: self.count_connections() == 0, "connections of before are closed")
        with concurrent.futures.ThreadPoolExecutor(len(clients)) as pool:
            answers = [pool.submit(client.call, poll("1", in_seconds(10)[1])) for client in clients]
            wait_for(lambda: self.count_connections() > KEPT_CONNECTIONS + 2, "the polls are held")
            for answer in answers:
                answer.result()

    def test_idle_clients_hold_no_workers(self):
        """Each worker of a server has one connection: with that many clients of its own it would be lost."""
        request = ("POST / HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nAuthorization: " + authorize("historian") +
                   f"\r\nContent-Length: {len(envelope(READ))}\r\n\r\n").encode() + envelope(READ)
        idle = []
        self.open_many_connections_to_the_plants()
        for number in range(IDLE_CLIENTS):
            connection = self.site.connect(source=f"127.0.1.{number + 1}")
            self.addCleanup(connection.close)
            connection.sendall(request)
            received = b""
            while not received.endswith(b"0\r\n\r\n") and b"</soap:Envelope>" not in received:
                piece = connection.recv(65536)
                self.assertTrue(piece, received)
                received += piece
            self.assertTrue(received.startswith(b"HTTP/1.1 200"), received[:200])
            idle.append(connection)

        # nginx answers, and only then closes a connection that it does not keep. Those it keeps live for 10 s.
        wait_for(lambda: self.count_connections() <= KEPT_CONNECTIONS,
                 "few connections to the plants are kept", seconds=5)
        self.assertIsNotNone(get_value(self.site.client("operator").call(READ)))
        for connection in idle:
            connection.setblocking(False)
            with self.assertRaises((ssl.SSLWantReadError, BlockingIOError), msg="an idle client was thrown out"):
                connection.recv(1)


class Subscriptions(SiteTest):
    def test_changes_are_reported(self):
        reader, writer = self.site.client("historian"), self.site.client("historian")
        handle = get_handle(reader.call(subscribe()))
        value = get_value(reader.call(poll(handle)))
        self.assertIsNone(get_value(reader.call(poll(handle))))
        for plant_of_site in self.site.plants:  # whichever it is
            plant_of_site.send("POST", "/", envelope(write(value + 1)))
        self.assertEqual(get_value(writer.call(poll(handle))), value + 1)
        self.assertIn("SubscriptionCancelResponse", reader.call(f'<SubscriptionCancel ServerSubHandle="{handle}"/>'))
        status, fault = reader.send(envelope(f'<SubscriptionCancel ServerSubHandle="{handle}"/>'))
        self.assertEqual(status, 400)
        self.assertIn(b"E_NOSUBSCRIPTION", fault)

    def test_a_held_poll(self):
        client = self.site.client(certificate="control-room")
        handle = get_handle(client.call(subscribe()))
        value = get_value(client.call(poll(handle)))
        hold_time, text = in_seconds(2)
        with concurrent.futures.ThreadPoolExecutor() as pool:
            held = pool.submit(client.call, poll(handle, text))
            client.call(write(value - 1))
            self.assertEqual(get_value(held.result()), value - 1)
        self.assertGreaterEqual(datetime.datetime.now(datetime.timezone.utc), hold_time)


class Log(SiteTest):
    LINE = re.compile(r'127\.0\.0\.\d+ "[^"]*" \w+ \[[^\]]*\] \d{3} "[^"]*" "[^"]*" \d+ \d+ [\d.]+s [\d.:, -]+')

    def test_no_client_writes_fields_of_its_own(self):
        forged = "x 77 77 0.000s 127.0.0.1:8081"
        client = self.site.client("historian")
        for action in forged, '" ' + forged, '\\" ' + forged, '"' + forged + '"', "", "é\x7f\x01".encode("latin-1"):
            client.call("<GetStatus/>", headers={"SOAPAction": action})
        for user in 'x" full [now', "x\\":
            self.check_refused(self.site.client(user), [401])
        lines = wait_for(lambda: len(found := self.site.read_log().splitlines()) >= 8 and found, "the log is written")
        for line in lines:
            self.assertIsNotNone(self.LINE.fullmatch(line), line)


class SecureServers(SiteTest):
    """The plants speak HTTPS to nginx."""

    IS_SECURE = True

    def test_readers_read_and_operators_write(self):
        reader, writer = self.site.client("historian"), self.site.client(certificate="control-room")
        before = get_value(writer.call(READ))
        self.assertEqual(get_value(writer.call(write(before + 1))), before + 1)
        writer.call(write(before))
        self.assertIsNotNone(get_value(reader.call(READ)))
        self.check_refused(reader, [403], envelope(write(155.5)))

    def test_sessions_are_resumed(self):
        """More connections at a time than nginx keeps are made anew, and it resumes their sessions."""
        clients = [self.site.client(f"station{number}", source=f"127.0.3.{number + 1}") for number in range(20)]
        for _ in range(3):
            wait_for(lambda: self.count_connections() <= KEPT_CONNECTIONS, "connections of before are closed")
            with concurrent.futures.ThreadPoolExecutor(len(clients)) as pool:
                answers = [pool.submit(client.send, envelope(poll("1", in_seconds(3)[1]))) for client in clients]
                self.assertEqual([answer.result()[0] for answer in answers], [200] * len(clients))

    def test_a_stranger_is_no_server(self):
        site = Site(plant, SOURCES, nginx, module, is_secure=True, servers_authority="other-ca")
        self.addCleanup(site.close)
        self.assertEqual(site.client("operator").send(envelope(READ))[0], 502)


class TwoServers(SiteTest):
    """Each test needs both plants."""

    def setUp(self):
        self.clients = [self.site.client(f"station{number}", source=f"127.0.2.{number + 1}") for number in range(20)]
        wait_for(lambda: len(self.find_servers()) == 2, "both plants serve")

    def find_servers(self):
        """The clients by the port of their server, as the log tells it."""
        before = len(self.read_stations())
        for client in self.clients:
            client.call("<GetStatus/>")
        # nginx answers first and logs then.
        wait_for(lambda: len(self.read_stations()) >= before + len(self.clients), "the requests are logged")
        places = dict(self.read_stations())
        servers = {}
        for number, client in enumerate(self.clients):
            servers.setdefault(int(places[f"station{number}"]), []).append(client)
        return servers

    def read_stations(self):
        """Who was served on which port, in this order."""
        return re.findall(r'"user (station\d+)" .*[ ,]127\.0\.0\.1:(\d+)\n', self.site.read_log())

    def test_clients_stay_with_their_server(self):
        handles = [get_handle(client.call(subscribe())) for client in self.clients]
        for client, handle in zip(self.clients, handles):
            for _ in range(3):
                self.assertNotIn("InvalidServerSubHandles", client.call(poll(handle)))

    def test_the_other_one_takes_over(self):
        servers = self.find_servers()
        dying, living = self.site.plants
        on_dying, on_living = servers[dying.port], servers[living.port]
        kept = [(client, get_handle(client.call(subscribe()))) for client in on_living]
        lost = [(client, get_handle(client.call(subscribe()))) for client in on_dying]
        dying.kill()
        for client, handle in lost:
            self.assertIn(f"<InvalidServerSubHandles>{handle}<", client.call(poll(handle)))
            renewed = get_handle(client.call(subscribe()))
            self.assertNotIn("InvalidServerSubHandles", client.call(poll(renewed)))
        for client, handle in kept:
            self.assertNotIn("InvalidServerSubHandles", client.call(poll(handle)))

        self.site.revive(0)
        wait_for(lambda: set(self.find_servers()) == set(servers), "the revived server serves again")

    def test_a_request_is_not_sent_twice(self):
        """The server dies with it: whether it was served nobody knows."""
        dying = self.site.plants[0]
        client = self.find_servers()[dying.port][0]
        wait_for(lambda: self.count_connections([dying]) == 0, "connections of before are closed")
        with concurrent.futures.ThreadPoolExecutor() as pool:
            held = pool.submit(client.send, envelope(poll("1", in_seconds(20)[1])))
            wait_for(lambda: self.count_connections([dying]) > 0, "the poll is held")
            dying.kill()
            self.assertEqual(held.result()[0], 502)
        self.site.revive(0)


def find_module():
    for folder in "/usr/lib/nginx/modules", "/usr/share/nginx/modules", "/usr/lib64/nginx/modules":
        path = os.path.join(folder, "ngx_http_js_module.so")
        if os.path.exists(path):
            return path
    return None


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


if __name__ == "__main__":
    plant = sys.argv.pop(1)
    nginx = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin")
    module = find_module()
    if not nginx:
        skip("there is no nginx here (Debian package nginx-light)")
    if not module:
        skip("nginx has no njs here (Debian package libnginx-mod-http-js)")
    if not shutil.which("openssl"):
        skip("there is no openssl here")
    unittest.main(verbosity=2)
