#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A SOAP service for the tests, made with python3-spyne, on a port of its own on loopback.

`service.py FOLDER` prints its port as a line and serves until its standard input ends. Addresses are /VERSION/STYLE[/TWIST]: version 11 or 12, style wrapped or bare,
and a twist that changes what goes on before or after the operation; with ?wsdl the description. Each request is kept in FOLDER, numbered: N.xml the body, N.json the headers.
The schema of each description is there too: VERSION-STYLE.xsd.
"""
import base64
import datetime
import hashlib
import io
import itertools
import json
import logging
import pathlib
import socketserver
import sys
import threading
import time
import wsgiref.simple_server

from lxml import etree
from spyne import Application, ByteArray, ComplexModel, Fault, Integer, ServiceBase, Unicode, rpc
from spyne.protocol.soap import Soap11, Soap12
from spyne.server.wsgi import WsgiApplication
from zeep.wsse.username import UsernameToken

NS = "urn:example:texts"
USER, PASSWORD = "wanda", "señor & <sons>"
WSS = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-"
NAMES = {"s": f"{WSS}wssecurity-secext-1.0.xsd", "u": f"{WSS}wssecurity-utility-1.0.xsd"}
KEPT = 1 << 20  # bytes of a request that are written to the folder


class Ticket(ComplexModel):
    __namespace__ = NS
    number = Integer(min_occurs=1, nillable=False)


class Stamp(ComplexModel):
    __namespace__ = NS
    number = Integer
    text = Unicode


class Texts(ServiceBase):
    """What both styles do alike."""
    __in_header__ = Ticket
    __out_header__ = Stamp


def sleep(seconds):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        time.sleep(0.02)
    return seconds


def fail(kind):
    raise Fault("Client.Refused" if kind == "caller" else "Server.Broken", f"The {kind} is to blame: <ä>", faultactor="urn:example:clerk",
                detail={f"{{{NS}}}blame": {f"{{{NS}}}who": kind, f"{{{NS}}}count": "3"}})


def stamp(ctx, text):
    if ctx.in_header is not None:
        ctx.out_header = Stamp(number=ctx.in_header.number + 1, text=f"stamped {text}")
    return text


def bytes_of(chunks):
    return chunks if isinstance(chunks, bytes) else b"".join(chunks)


def described(data):
    data = bytes_of(data)
    return f"{len(data)} {hashlib.sha256(data).hexdigest()}"


def operations(style):
    """The service of a style: wrapped operations take and give an element around their parameters, bare ones are their parameters."""
    def one(name, *types, returns, function):
        def run(ctx, value):
            return function(ctx, value)
        run.__name__ = name
        return rpc(*types, _returns=returns, _body_style=style, _args=["value"])(run)
    required = {"min_occurs": 1, "nillable": False}
    text, number, data = Unicode(**required), Integer(**required), ByteArray(**required)
    return type("TextService", (Texts,), {
        "Echo": one("Echo", text, returns=Unicode, function=stamp),
        "Fail": one("Fail", text, returns=Unicode, function=lambda _, kind: fail(kind)),
        "Sleep": one("Sleep", number, returns=Integer, function=lambda _, seconds: sleep(seconds)),
        "Digest": one("Digest", data, returns=Unicode, function=lambda _, value: described(value)),
        "Mirror": one("Mirror", data, returns=ByteArray, function=lambda _, value: [bytes_of(value)])})


def fault(version, code, text):
    """A fault of the security header's."""
    subcode = f"wsse:{code}"
    if version == "11":
        inner, envelope = f"<faultcode>{subcode}</faultcode><faultstring>{text}</faultstring>", "http://schemas.xmlsoap.org/soap/envelope/"
    else:
        inner = (f"<e:Code><e:Value>e:Sender</e:Value><e:Subcode><e:Value>{subcode}</e:Value></e:Subcode></e:Code>"
                 f'<e:Reason><e:Text xml:lang="en">{text}</e:Text></e:Reason>')
        envelope = "http://www.w3.org/2003/05/soap-envelope"
    return f'<e:Envelope xmlns:e="{envelope}" xmlns:wsse="{NAMES["s"]}"><e:Body><e:Fault>{inner}</e:Fault></e:Body></e:Envelope>'.encode()


class Raw(bytes):
    """A nonce as it is: zeep would encode a text."""
    def encode(self, _):
        return bytes(self)


class Moment(str):
    """A moment as it was written: zeep would format a date."""
    def replace(self, **_):
        return self

    def isoformat(self):
        return str(self)


class Guard:
    """Checks WS-Security headers; the digest is what zeep makes of the received nonce and time."""

    def __init__(self):
        self.lock = threading.Lock()
        self.nonces = set()

    def complaint(self, envelope, kind):
        """None when the header is good, else a fault's code and text."""
        headers = envelope.xpath("/*/*[local-name()='Header']/s:Security", namespaces=NAMES)
        if len(headers) != 1:
            return "InvalidSecurity", f"{len(headers)} security headers"
        find = lambda path: headers[0].find(path, NAMES)
        text = lambda path: headers[0].findtext(path, None, NAMES)
        if find("u:Timestamp") is None or not self.fresh(text("u:Timestamp/u:Created"), text("u:Timestamp/u:Expires")):
            return "MessageExpired", "the time stamp is not fresh"
        password = find("s:UsernameToken/s:Password")
        if password is None or text("s:UsernameToken/s:Username") != USER:
            return "FailedAuthentication", "no such user"
        if password.get("Type") != f"{WSS}username-token-profile-1.0#Password{kind}":
            return "UnsupportedSecurityToken", f"a password of type {password.get('Type')}"
        if kind == "Text":
            return None if password.text == PASSWORD else ("FailedAuthentication", "not the password")
        nonce, created = find("s:UsernameToken/s:Nonce"), text("s:UsernameToken/u:Created")
        if nonce is None or nonce.get("EncodingType") != f"{WSS}soap-message-security-1.0#Base64Binary" or not self.fresh(created):
            return "InvalidSecurityToken", "no nonce or no fresh time"
        raw = base64.b64decode(nonce.text, validate=True)
        if len(raw) < 16:
            return "InvalidSecurityToken", "a nonce that can be guessed"
        with self.lock:
            if raw in self.nonces:
                return "FailedAuthentication", "a nonce that was used"
            self.nonces.add(raw)
        expected = UsernameToken(USER, PASSWORD, use_digest=True, nonce=Raw(raw), created=Moment(created))._create_password_digest()[0].text
        return None if password.text == expected else ("FailedAuthentication", "not the password's digest")

    @staticmethod
    def fresh(created, expires=None):
        moment = lambda text: datetime.datetime.fromisoformat(text.replace("Z", "+00:00"))
        now = datetime.datetime.now(datetime.timezone.utc)
        return created is not None and abs((now - moment(created)).total_seconds()) < 60 and (expires is None or moment(expires) > now)


class Service:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.numbers = itertools.count()
        self.lock = threading.Lock()
        self.guard = Guard()
        self.applications = {}

    def build(self, port):
        for version, protocol in (("11", Soap11), ("12", Soap12)):
            for style in ("wrapped", "bare"):
                # The description names the protocol's version by its class; a limit of the parser's is lifted for the big values.
                application = WsgiApplication(Application([operations(style)], NS, in_protocol=protocol(validator="lxml", huge_tree=True), out_protocol=protocol()),
                                              max_content_length=1 << 30)
                application.doc.wsdl11.build_interface_document(f"http://127.0.0.1:{port}/{version}/{style}")
                wsdl = etree.fromstring(application.doc.wsdl11.get_interface_document())
                schema, = wsdl.iter("{http://www.w3.org/2001/XMLSchema}schema")
                (self.folder / f"{version}-{style}.xsd").write_bytes(etree.tostring(schema))
                self.applications[f"/{version}/{style}"] = application

    def keep(self, environ, body):
        with self.lock:
            number = next(self.numbers)
        headers = {key[5:].replace("_", "-").lower(): value for key, value in environ.items() if key.startswith("HTTP_")}
        headers |= {"content-type": environ.get("CONTENT_TYPE"), "content-length": environ.get("CONTENT_LENGTH")}
        about = {"path": environ["PATH_INFO"], "query": environ.get("QUERY_STRING", ""), "headers": headers, "size": len(body)}
        (self.folder / f"{number}.xml").write_bytes(body if len(body) <= KEPT else b"")
        (self.folder / f"{number}.json").write_text(json.dumps(about))

    def __call__(self, environ, start_response):
        _, version, style, *twists = environ["PATH_INFO"].split("/")
        twist = twists[0] if twists else ""
        application = self.applications.get(f"/{version}/{style}")
        if application is None:
            start_response("404 Not Found", [("Content-Type", "text/plain")])
            return [b"There is nothing here"]
        if environ["REQUEST_METHOD"] != "POST":
            return application(environ, start_response)
        body = environ["wsgi.input"].read(int(environ.get("CONTENT_LENGTH") or 0))
        self.keep(environ, body)
        if twist in ("Text", "Digest"):
            complaint = self.guard.complaint(etree.fromstring(body), twist)
            if complaint:
                start_response("500 Internal Server Error", [("Content-Type", "text/xml" if version == "11" else "application/soap+xml")])
                return [fault(version, *complaint)]
        return self.answer(application, environ | {"wsgi.input": io.BytesIO(body)}, start_response, twist)

    def answer(self, application, environ, start_response, twist):
        head = []
        answer = b"".join(application(environ, lambda *what: head.extend(what[:2])))
        status, headers = head
        if twist.isdigit() and status.startswith("200"):  # a one-way operation
            status, answer, headers = f"{twist} Taken", b"", []
        start_response(status, [(name, value) for name, value in headers if name.lower() != "content-length"] + [("X-Trace", "one"), ("X-Trace", "two")]
                       + ([("Content-Length", str(len(answer)))] if twist != "204" else []))
        if twist == "trickle":
            return slowly(answer)
        return [answer]


def slowly(answer):
    """The answer in pieces over some seconds."""
    for at in range(0, len(answer), 4):
        yield answer[at:at + 4]
        time.sleep(0.03)


class Server(socketserver.ThreadingMixIn, wsgiref.simple_server.WSGIServer):
    daemon_threads = True
    request_queue_size = 128

    def handle_error(self, *_):  # a client that went away is what some tests are about
        pass


class Handler(wsgiref.simple_server.WSGIRequestHandler):
    def log_message(self, *_):
        pass


def main():
    logging.disable(logging.CRITICAL)
    service = Service(sys.argv[1])
    server = wsgiref.simple_server.make_server("127.0.0.1", 0, service, Server, Handler)
    service.build(server.server_port)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    print(server.server_port, flush=True)
    sys.stdin.read()


if __name__ == "__main__":
    main()
