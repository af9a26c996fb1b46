# SPDX-License-Identifier: Apache-2.0
"""An Apache on loopback before the tests' service: what a server, an HTTP proxy and TLS can ask of a client. Needs nothing but the binary and its modules."""
import base64
import hashlib
import os
import pathlib
import shutil
import socket
import subprocess
import time

USER, PASSWORD = "peter", "Pass:w%rd \u00fc"
MODULES = pathlib.Path("/usr/lib/apache2/modules")
PORTS = ("http", "https", "client", "proxy", "open")

CONFIG = """
ServerRoot "{root}"
ServerName localhost
PidFile "{root}/pid"
DefaultRuntimeDir "{root}"
ErrorLog "{root}/error.log"
User #65534
Group #65534
{modules}
LogFormat "%p %r %>s %u" short
CustomLog "{root}/access.log" short
{listens}
StartServers 1
ThreadsPerChild 32
MaxRequestWorkers 32
ServerLimit 1
KeepAliveTimeout 60
RequestHeader unset X-User
RequestHeader unset X-Client

<VirtualHost 127.0.0.1:{http}>
  ProxyPass "/basic/" "{service}/"
  ProxyPass "/digest/" "{service}/"
  ProxyPass "/gzip/" "{service}/"
  ProxyPass "/" "{service}/"
  <Location "/basic/">
    AuthType Basic
    AuthName "basic"
    AuthBasicProvider file
    AuthUserFile "{root}/basic"
    Require valid-user
    RequestHeader set X-User "expr=%{{REMOTE_USER}}"
  </Location>
  <Location "/digest/">
    AuthType Digest
    AuthName "digest"
    AuthDigestProvider file
    AuthUserFile "{root}/digest"
    Require valid-user
    RequestHeader set X-User "expr=%{{REMOTE_USER}}"
  </Location>
  <Location "/gzip/">
    SetOutputFilter DEFLATE
  </Location>
</VirtualHost>

<VirtualHost 127.0.0.1:{https}>
  SSLEngine on
  SSLCertificateFile "{root}/server.pem"
  SSLCertificateKeyFile "{root}/server.key"
  ProxyPass "/" "{service}/"
</VirtualHost>

<VirtualHost 127.0.0.1:{client}>
  SSLEngine on
  SSLCertificateFile "{root}/server.pem"
  SSLCertificateKeyFile "{root}/server.key"
  SSLCACertificateFile "{root}/ca.pem"
  SSLVerifyClient require
  RequestHeader set X-Client "expr=%{{SSL_CLIENT_S_DN_CN}}"
  ProxyPass "/" "{service}/"
</VirtualHost>

<VirtualHost 127.0.0.1:{proxy}>
  ProxyRequests On
  AllowCONNECT {https}
  <Proxy "*">
    AuthType Basic
    AuthName "proxy"
    AuthBasicProvider file
    AuthUserFile "{root}/basic"
    Require valid-user
  </Proxy>
</VirtualHost>

<VirtualHost 127.0.0.1:{open}>
  ProxyRequests On
  AllowCONNECT {https}
</VirtualHost>
"""
NEEDED = ("mpm_event", "authn_core", "authn_file", "authz_core", "authz_user", "auth_basic", "auth_digest", "deflate", "headers", "proxy", "proxy_http",
          "proxy_connect", "ssl")


def free_ports(count):
    taken = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [one.getsockname()[1] for one in taken]
    for one in taken:
        one.close()
    return ports


def openssl(folder, *arguments):
    done = subprocess.run(["openssl", *arguments], cwd=folder, capture_output=True, check=False)
    if done.returncode:
        raise RuntimeError(f"openssl {' '.join(arguments)}: {done.stderr.decode()}")


def certificates(folder):
    """A private authority, ca.pem, that vouches for a server and a client, and another, stranger.pem, that vouches for nobody here."""
    key = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes")
    for name in ("ca", "stranger"):
        openssl(folder, "req", "-x509", *key, "-keyout", f"{name}.key", "-out", f"{name}.pem", "-subj", f"/CN=Tests {name}", "-days", "2",
                "-addext", "keyUsage=critical,keyCertSign")
    for name, extension in (("server", "subjectAltName=DNS:localhost,IP:127.0.0.1"), ("client", "extendedKeyUsage=clientAuth")):
        (folder / f"{name}.ext").write_text(extension + "\n")
        openssl(folder, "req", *key, "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN=tests-{name}")
        openssl(folder, "x509", "-req", "-in", f"{name}.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-days", "2", "-extfile", f"{name}.ext",
                "-out", f"{name}.pem")


class Apache:
    """Runs while the object is used as a context; `url[kind]` are the addresses: http, https, client (a certificate is wanted), proxy (with a password) and open."""

    def __init__(self, folder, service):
        self.folder, self.service = pathlib.Path(folder), service
        self.process = None

    def __enter__(self):
        self.folder.chmod(0o755)
        digest = lambda text: hashlib.md5(text.encode()).hexdigest()
        (self.folder / "basic").write_text(f"{USER}:{{SHA}}{base64.b64encode(hashlib.sha1(PASSWORD.encode()).digest()).decode()}\n")
        (self.folder / "digest").write_text(f"{USER}:digest:{digest(f'{USER}:digest:{PASSWORD}')}\n")
        certificates(self.folder)
        for _ in range(5):  # somebody may take a port between its choice and its use
            if self.start():
                return self
        raise RuntimeError("Apache does not start: " + self.log("error.log"))

    def start(self):
        ports = dict(zip(PORTS, free_ports(len(PORTS))))
        self.port, self.url = ports, {kind: f"{'https' if kind in ('https', 'client') else 'http'}://127.0.0.1:{port}" for kind, port in ports.items()}
        config = CONFIG.format(root=self.folder, service=self.service, **ports, listens="\n".join(f"Listen 127.0.0.1:{port}" for port in ports.values()),
                               modules="\n".join(f"LoadModule {one}_module {MODULES}/mod_{one}.so" for one in NEEDED))
        (self.folder / "apache.conf").write_text(config)
        program = shutil.which("apache2", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")
        if program is None:
            raise RuntimeError("There is no apache2: install apache2-bin")
        with (self.folder / "error.log").open("ab") as log:
            self.process = subprocess.Popen([program, "-f", self.folder / "apache.conf", "-DFOREGROUND"], stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        while self.process.poll() is None:
            try:
                for port in ports.values():
                    socket.create_connection(("127.0.0.1", port), 1).close()
                return True
            except OSError:
                time.sleep(0.02)
        return False

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def log(self, name="access.log"):
        path = self.folder / name
        return path.read_text(errors="replace") if path.exists() else ""
