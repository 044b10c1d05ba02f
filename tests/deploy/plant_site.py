"""A site as an operator would set it up: two plants behind an nginx with the configuration of deploy/, with its own
ports, certificates and passwords."""

import atexit
import base64
import http.client
import os
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile

from programs import DEADLINE, Plant, wait_for

PASSWORD = "correct horse"
USERS = {"historian": "reader", "operator": "full", "nobody": None}
USERS.update({f"station{number}": "full" for number in range(20)})
HOLDERS = {"dashboard": "reader", "control-room": "full", "visitor": None}


def find_free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Certificates:
    """An authority, a server's certificate, those of clients, and one that another authority signed."""

    def __init__(self, directory):
        self.directory = directory
        self.make_authority("clients-ca")
        self.make_authority("other-ca")
        self.sign("server", "/CN=localhost", "clients-ca", "subjectAltName=IP:127.0.0.1,DNS:localhost")
        for name in HOLDERS:
            self.sign(name, f"/O=Plant/CN={name}", "clients-ca", "extendedKeyUsage=clientAuth")
        self.sign("stranger", "/O=Plant/CN=control-room", "other-ca", "extendedKeyUsage=clientAuth")

    def path(self, name):
        return os.path.join(self.directory, name)

    def make_authority(self, name):
        run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name}",
            "-keyout", self.path(f"{name}.key"), "-out", self.path(f"{name}.pem"))

    def sign(self, name, subject, authority, extension):
        run("openssl", "req", "-newkey", "rsa:2048", "-nodes", "-subj", subject,
            "-keyout", self.path(f"{name}.key"), "-out", self.path(f"{name}.csr"))
        with open(self.path("extension"), "w", encoding="utf-8") as file:
            file.write(extension + "\n")
        run("openssl", "x509", "-req", "-in", self.path(f"{name}.csr"), "-days", "2", "-CAcreateserial",
            "-CA", self.path(f"{authority}.pem"), "-CAkey", self.path(f"{authority}.key"),
            "-extfile", self.path("extension"), "-out", self.path(f"{name}.pem"))

    def subject(self, name):
        text = run("openssl", "x509", "-in", self.path(f"{name}.pem"), "-noout", "-subject", "-nameopt", "RFC2253")
        return text.strip().removeprefix("subject=")


class ProxiedSite:
    """nginx in a directory of its own, and what stands behind it. `close()` ends all of it."""

    def __init__(self, settings):
        self.directory = tempfile.mkdtemp(prefix="kx-deploy-")
        atexit.register(shutil.rmtree, self.directory, ignore_errors=True)
        self.settings = os.path.join(self.directory, settings)
        os.mkdir(self.settings)
        self.certificates = Certificates(self.settings)
        self.plants = []
        self.nginx = None
        self.port = 0

    def adapt(self, port):
        """The configuration as it is deployed, but for ports and paths."""
        raise NotImplementedError

    def write(self, path, text):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def start_nginx(self, nginx, module):
        self.write(os.path.join(self.directory, "nginx.conf"), f"""
            {"user root;" if os.geteuid() == 0 else ""}
            {f"load_module {module};" if module else ""}
            daemon off;
            worker_processes 2;
            pid {self.directory}/nginx.pid;
            error_log {self.directory}/error.log info;
            events {{ worker_connections 1024; }}
            http {{
                access_log off;
                client_body_temp_path {self.directory}/body;
                proxy_temp_path {self.directory}/proxy;
                fastcgi_temp_path {self.directory}/fastcgi;
                uwsgi_temp_path {self.directory}/uwsgi;
                scgi_temp_path {self.directory}/scgi;
                include {self.directory}/kx-xmlda.conf;
            }}
            """)
        for _ in range(5):  # another program may take a free port first
            self.port = find_free_port()
            self.write(os.path.join(self.directory, "kx-xmlda.conf"), self.adapt(self.port))
            self.nginx = subprocess.Popen([nginx, "-p", self.directory, "-c", f"{self.directory}/nginx.conf"],
                                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            atexit.register(self.close)
            wait_for(lambda: self.nginx.poll() is not None or self.is_listening(), "nginx listens")
            if self.nginx.poll() is None:
                return
        raise RuntimeError("nginx does not start: " + self.nginx.stderr.read().decode())

    def is_listening(self):
        try:
            socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE).close()
        except ConnectionRefusedError:
            return False
        return True

    def read_processor_time(self):
        """Of nginx's processes that serve, in seconds."""
        with open(f"/proc/{self.nginx.pid}/task/{self.nginx.pid}/children", encoding="utf-8") as file:
            workers = file.read().split()
        ticks = 0
        for worker in workers:
            with open(f"/proc/{worker}/stat", encoding="utf-8") as file:
                fields = file.read().rpartition(")")[2].split()
            ticks += int(fields[11]) + int(fields[12])
        return ticks / os.sysconf("SC_CLK_TCK")

    def close(self):
        if self.nginx.poll() is None:
            self.nginx.send_signal(signal.SIGTERM)
            self.nginx.wait()
        for plant in self.plants:
            plant.kill()

    def make_context(self, certificate=None):
        context = ssl.create_default_context(cafile=self.certificates.path("clients-ca.pem"))
        if certificate:
            context.load_cert_chain(self.certificates.path(f"{certificate}.pem"),
                                    self.certificates.path(f"{certificate}.key"))
        return context

    def connect(self, certificate=None, source=None):
        """A connection through TLS, for bytes."""
        plain = socket.create_connection(("127.0.0.1", self.port), DEADLINE, source and (source, 0))
        return self.make_context(certificate).wrap_socket(plain, server_hostname="127.0.0.1")

    def client(self, user=None, certificate=None, password=PASSWORD, source="127.0.0.1"):
        return Client(self, user, certificate, password, source)


class Site(ProxiedSite):
    """Two plants and nginx. `close()` ends all of them. The plants of a secure site speak HTTPS, and nginx asks them for
    certificates of the given authority."""

    def __init__(self, plant_program, sources, nginx, module, is_secure=False, servers_authority="clients-ca"):
        super().__init__("kx-xmlda")
        self.plant_program = plant_program
        self.is_secure = is_secure
        shutil.copy(self.certificates.path(f"{servers_authority}.pem"), self.certificates.path("servers-ca.pem"))
        self.plants = [self.start_plant() for _ in range(2)]
        shutil.copy(os.path.join(sources, "nginx", "kx-xmlda", "gate.js"), self.settings)
        self.write_users()
        with open(os.path.join(sources, "nginx", "kx-xmlda.conf"), encoding="utf-8") as file:
            self.deployed = file.read()
        self.start_nginx(nginx, module)

    def start_plant(self, port=0):
        options = ["--certificate", self.certificates.path("server.pem"),
                   "--private-key", self.certificates.path("server.key")] if self.is_secure else []
        return Plant(self.plant_program, port, options)

    def write_users(self):
        lines = [f'"user {name}" {group};\n' for name, group in USERS.items() if group]
        lines += [f'"certificate {self.certificates.subject(name)}" {group};\n'
                  for name, group in HOLDERS.items() if group]
        self.write(os.path.join(self.settings, "groups.conf"), "".join(lines))
        password = run("openssl", "passwd", "-6", PASSWORD).strip()
        self.write(os.path.join(self.settings, "passwords"), "".join(f"{name}:{password}\n" for name in USERS))

    def adapt(self, port):
        """The configuration as it is deployed, but for ports and paths."""
        text = self.deployed
        if self.is_secure:  # what is commented out there
            text = text.replace("proxy_pass http://kx_servers;", "").replace("#     proxy_", "proxy_")
        replacements = [("listen 443 ssl;", f"listen 127.0.0.1:{port} ssl;"), ("listen [::]:443 ssl;", ""),
                        ("127.0.0.1:8081", f"127.0.0.1:{self.plants[0].port}"),
                        ("127.0.0.1:8082", f"127.0.0.1:{self.plants[1].port}"),
                        ("/etc/nginx/kx-xmlda/", self.settings + "/"), ("/var/log/nginx/", self.directory + "/")]
        for old, new in replacements:
            if old not in text:
                raise AssertionError(f"the configuration has no '{old}'")
            text = text.replace(old, new)
        return text

    def read_log(self):
        with open(os.path.join(self.directory, "kx-xmlda.log"), encoding="utf-8") as file:
            return file.read()

    def revive(self, index):
        self.plants[index] = self.start_plant(self.plants[index].port)


class Client:
    """Someone who comes through nginx."""

    def __init__(self, site, user, certificate, password, source):
        self.site = site
        self.source = source
        self.certificate = certificate
        self.headers = {"Content-Type": "text/xml; charset=utf-8"}
        if user is not None:
            self.headers["Authorization"] = authorize(user, password)

    def send(self, body, headers=(), method="POST", path="/", chunked=False):
        """Sends a request on a connection of its own; gives status and body."""
        connection = http.client.HTTPSConnection("127.0.0.1", self.site.port, timeout=4 * DEADLINE,
                                                 context=self.site.make_context(self.certificate),
                                                 source_address=(self.source, 0))
        try:
            connection.request(method, path, body, {**self.headers, **dict(headers)}, encode_chunked=chunked)
            reply = connection.getresponse()
            return reply.status, reply.read()
        finally:
            connection.close()

    def call(self, content, **arguments):
        status, body = self.send(envelope(content), **arguments)
        if status != 200:
            raise AssertionError(f"{status}: {body[:300]!r}")
        return body.decode()


def authorize(user, password=PASSWORD):
    return "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()


def envelope(content):
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"'
            ' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:xsd="http://www.w3.org/2001/XMLSchema"'
            ' xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/">'
            f'<soap:Body>{content}</soap:Body></soap:Envelope>').encode()
