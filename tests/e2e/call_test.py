#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Calls of a service that is not ours, through the library as it is built: driver.cpp is the host, service.py the service, apache.py what lies between them."""
import base64
import contextlib
import hashlib
import http.client
import http.server
import json
import os
import pathlib
import random
import re
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.parse
import xml.etree.ElementTree as ElementTree
from xml.sax.saxutils import escape

import apache
from service import NS, PASSWORD, USER

HERE = pathlib.Path(__file__).resolve().parent
BIN = pathlib.Path(os.environ["QVWS_BIN"])
ENVELOPE = {"11": "http://schemas.xmlsoap.org/soap/envelope/", "12": "http://www.w3.org/2003/05/soap-envelope"}
MEDIA = {"11": "text/xml", "12": "application/soap+xml"}
STYLES = ("wrapped", "bare")
TEXT = "gr\u00fcn <x> & \u6f22\u5b57 \U0001d11e \"'"


def name(local):
    return f"{{{NS}}}{local}"


def element(operation, value, style="bare"):
    """The request of an operation, with a prefix that the namespaces of the client declare."""
    inner = escape(str(value))
    return f"<t:{operation}>{inner if style == 'bare' else f'<t:value>{inner}</t:value>'}</t:{operation}>"


def request(operation, value, *outputs, style="bare", **more):
    """A call that sends an operation's request and wants its answer, or other values."""
    return {"inputs": [{"name": name(operation), "text": element(operation, value, style)}],
            "outputs": [{"name": output} for output in outputs or [name(operation + "Response")]]} | more


def enveloped(version, payload, header=""):
    return f'<e:Envelope xmlns:e="{ENVELOPE[version]}"><e:Header>{header}</e:Header><e:Body>{payload}</e:Body></e:Envelope>'


class Case(unittest.TestCase):
    """A test has a folder, and a host to make calls with."""
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def drive(self, address, *calls, env=(), **more):
        """Makes the calls with one client; gives the host's report. What the client logs is in self.log; no secret may be there."""
        options = {"WSCP_ADDRESS": address, "REQUEST_TIMEOUT": "50", **more.pop("options", {})}
        job = {"options": options, "namespaces": {"t": NS}, "calls": calls, **more}
        environment = {key: value for key, value in os.environ.items() if not key.startswith("QVWS_")}
        environment |= {"HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder), "QVWS_LOG_LEVEL": "1", **dict(env)}
        done = subprocess.run([BIN / "call_driver"], input=json.dumps(job).encode(), capture_output=True, timeout=100, env=environment)
        self.log = done.stderr.decode(errors="replace")
        self.assertEqual(done.returncode, 0, self.log)
        for key in [key for key in options if key.endswith("_PASS")]:
            secret = options[key].encode()
            pair = options[key[:-4] + "USER"].encode() + b":" + secret
            for form in (secret, urllib.parse.quote(secret).encode(), base64.b64encode(secret), base64.b64encode(pair)):
                self.assertNotIn(form, done.stdout + done.stderr)
        return json.loads(done.stdout)

    def succeed(self, address, *calls, **more):
        report = self.drive(address, *calls, **more)
        for one in report["calls"]:
            self.assertTrue(one["ok"], one.get("err"))
        return report

    def answer(self, address, call, **more):
        """The only call's results."""
        return self.succeed(address, call, **more)["calls"][0]

    def fail_with(self, code, words, address, call, **more):
        one = self.drive(address, call, **more)["calls"][0]
        self.assertFalse(one["ok"], one)
        self.assertRegex(one["err"], rf"^QVWS-1725: .* failed with code {code}: ")
        for word in words:
            self.assertIn(word, one["err"])
        return one

    def text(self, xml):
        """All text in an element that has to stand alone."""
        return "".join(ElementTree.fromstring(xml).itertext())


class ServiceCase(Case):
    """A class has a service of its own. Every request that it received has to be valid."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.received = pathlib.Path(folder.name)
        with (cls.received / "log").open("w") as log:
            process = subprocess.Popen([sys.executable, "-B", HERE / "service.py", folder.name], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=log, text=True)
        cls.addClassCleanup(process.communicate)  # it ends with its input
        port = process.stdout.readline().strip()
        if not port:
            raise RuntimeError("The service does not start: " + (cls.received / "log").read_text())
        cls.service = f"http://127.0.0.1:{port}"
        cls.checked = 0

    def tearDown(self):
        self.validate()

    def requests(self):
        """What the service received in this test, in order: path, headers and so on, and the envelope's text, which is empty when it is large."""
        files = sorted(self.received.glob("*.json"), key=lambda file: int(file.stem))[self.checked:]
        return [(json.loads(file.read_text()), file.with_suffix(".xml").read_bytes().decode()) for file in files]

    def last(self):
        return self.requests()[-1]

    def validate(self):
        """Validates the envelopes against the versions' schemas, and their payloads against the service's own."""
        requests = self.requests()
        batches = {}
        for number, (about, envelope) in enumerate(requests, self.checked):
            if not envelope:
                continue
            version, style = about["path"].split("/")[1:3]
            batches.setdefault(HERE / f"envelope-{version}.xsd", []).append(self.received / f"{number}.xml")
            for payload in ElementTree.fromstring(envelope).find(f"{{{ENVELOPE[version]}}}Body"):
                inner = self.folder / f"{number}-payload.xml"
                inner.write_bytes(ElementTree.tostring(payload))
                batches.setdefault(self.received / f"{version}-{style}.xsd", []).append(inner)
        type(self).checked += len(requests)
        for schema, documents in batches.items():
            done = subprocess.run(["xmllint", "--noout", "--nonet", "--schema", schema, *documents], capture_output=True, check=False)
            self.assertEqual(done.returncode, 0, done.stderr.decode() + "".join(document.read_text() for document in documents[:3]))


class Peers(ServiceCase):
    """What the other tests lean on: a service that takes everything would prove nothing."""

    def tearDown(self):
        pass

    def post(self, path, envelope):
        with contextlib.closing(http.client.HTTPConnection(self.service.removeprefix("http://"), timeout=20)) as connection:
            connection.request("POST", path, envelope.encode(), {"Content-Type": "text/xml; charset=utf-8"})
            return connection.getresponse().read().decode()

    def test_payloads_are_checked_against_the_schema(self):
        for style, good, bad in (("bare", "0", "long"), ("wrapped", "<value>0</value>", "<valeu>0</valeu>")):
            answers = [self.post(f"/11/{style}", enveloped("11", f'<Sleep xmlns="{NS}">{payload}</Sleep>')) for payload in (good, bad)]
            self.assertEqual(["SleepRes" in answer for answer in answers], [True, False], answers)

    def test_security_headers_are_checked(self):
        for kind, other, digest in (("Text", "Digest", "false"), ("Digest", "Text", "true")):
            options = {"WSCP_WS-SECURITY_USER": USER, "WSCP_WS-SECURITY_PASS": PASSWORD, "WSCP_WS-SECURITY_DIGEST": digest}
            self.succeed(f"{self.service}/11/bare/{kind}", request("Echo", "x"), options=options)
            sent = self.last()[1]
            for word, way, again in (("a nonce that was used" if kind == "Digest" else "EchoRes", kind, sent), ("a password of type", other, sent),
                                     ("not fresh", kind, re.sub(r"Created>\d{4}", "Created>2020", sent)), ("no such user", kind, sent.replace(f">{USER}<", ">eve<")),
                                     ("0 security headers", kind, re.sub("(?s)<wsse:Security.*</wsse:Security>", "", sent))):
                self.assertIn(word, self.post(f"/11/bare/{way}", again))


class Versions(ServiceCase):
    def test_what_is_sent_and_what_comes_back(self):
        for version, soap in ENVELOPE.items():
            for style in STYLES:
                with self.subTest(version=version, style=style):
                    wanted = [name("EchoResponse"), f"{{{soap}}}Body", f"{{{soap}}}Envelope"] + ([name("EchoResult")] if style == "wrapped" else [])
                    one = self.answer(f"{self.service}/{version}/{style}", request("Echo", TEXT, *wanted, style=style),
                                      options={"WSCP_ACTION": "urn:example:do it", "WSCP_SOAP_VERSION": f"{version[0]}.{version[1]}"})
                    self.assertEqual({output: self.text(one["outputs"][output]) for output in wanted}, dict.fromkeys(wanted, TEXT))
                    self.assertEqual([ElementTree.fromstring(one["outputs"][output]).tag for output in wanted[:3]], [name("EchoResponse"), name("EchoResponse"), wanted[2]])
                    about, envelope = self.last()
                    self.assertEqual(ElementTree.fromstring(envelope).tag, f"{{{soap}}}Envelope")
                    self.assertEqual(self.text(envelope), TEXT)
                    kind, *parameters = [part.strip() for part in about["headers"]["content-type"].split(";")]
                    self.assertEqual((kind, parameters[0].lower()), (MEDIA[version], "charset=utf-8"))
                    action = about["headers"].get("soapaction"), [part for part in parameters if part.startswith("action=")]
                    self.assertEqual(action, ('"urn:example:do it"', []) if version == "11" else (None, ['action="urn:example:do it"']))

    def test_an_answer_in_small_pieces(self):
        one = self.answer(f"{self.service}/12/bare/trickle", request("Echo", TEXT), options={"WSCP_SOAP_VERSION": "1.2"})
        self.assertEqual(self.text(one["outputs"][name("EchoResponse")]), TEXT)

    def test_configuration_file(self):
        file = self.folder / "qvws.toml"
        file.write_text('[options]\nWSCP_ACTION = "urn:from-file"\nWSCP_SOAP_VERSION = "1.2"\n[headers]\nX-Tenant = "7"\n')
        for options, version, action in (({}, "12", "urn:from-file"), ({"WSCP_SOAP_VERSION": "1.1", "WSCP_ACTION": "urn:own"}, "11", "urn:own")):
            self.answer(f"{self.service}/{version}/bare", request("Echo", "x"), options=options | {"WSCP_CONFIG": str(file)})
            headers = self.last()[0]["headers"]
            self.assertEqual(headers["x-tenant"], "7")
            self.assertIn(f'"{action}"', headers["content-type"] + headers.get("soapaction", ""))

    def test_headers_go_both_ways(self):
        for version, soap in ENVELOPE.items():
            for address in ENVELOPE.values():  # the namespace of either version works
                call = request("Echo", "x", f"{{{address}}}Header", name("Stamp"))
                call["inputs"].append({"name": f"{{{address}}}Header", "text": "<t:Ticket><t:number>41</t:number></t:Ticket><u:Other xmlns:u='urn:other'/>"})
                one = self.answer(f"{self.service}/{version}/bare", call, options={"WSCP_SOAP_VERSION": ".".join(version)})
                for output in call["outputs"]:
                    if one["outputs"][output["name"]] is not None:
                        self.assertEqual(self.text(one["outputs"][output["name"]]), "42stamped x")
                self.assertIsNotNone(one["outputs"][f"{{{address}}}Header"])
                self.assertEqual([block.tag for block in ElementTree.fromstring(self.last()[1])[0]], [name("Ticket"), "{urn:other}Other"])

    def test_every_kind_of_input(self):
        soap = ENVELOPE["11"]
        finished = f'<?xml version="1.0" encoding="utf-8"?>\n<!-- as it is --><q:Envelope  xmlns:q="{ENVELOPE["12"]}"><q:Body><Echo xmlns="{NS}">{escape(TEXT)}</Echo></q:Body></q:Envelope>\n'
        echo = name("Echo")
        cases = {
            "text": ({"name": echo, "text": TEXT, "xml": False}, TEXT),
            "declaration": ({"name": echo, "text": f"\ufeff<?xml version='1.0' encoding='UTF-8'?>\n <t:Echo>{escape(TEXT)}</t:Echo>\n<!-- end -->"}, TEXT),
            "empty": ({"name": echo, "text": ""}, ""),
            "absent": ({"name": echo}, ""),
            "body": ({"name": f"{{{soap}}}Body", "text": element("Echo", TEXT)}, TEXT),
            "cdata": ({"name": echo, "text": f"<t:Echo><![CDATA[{TEXT}]]></t:Echo>"}, TEXT),
            "own prefix": ({"name": echo, "text": f"<t:Echo xmlns:t='{NS}' xmlns:u='urn:u'>{escape(TEXT)}</t:Echo>"}, TEXT),
            "envelope": ({"name": f"{{{soap}}}Envelope", "text": finished}, TEXT)}
        for case, (value, expected) in cases.items():
            with self.subTest(case):
                version = "12" if case == "envelope" else "11"  # a finished envelope says its version
                one = self.answer(f"{self.service}/{version}/bare", {"inputs": [value], "outputs": [{"name": name("EchoResponse")}]})
                self.assertEqual(self.text(one["outputs"][name("EchoResponse")]), expected)
        self.assertEqual(self.last()[1], finished)

    def test_faults(self):
        for version, code in (("11", ["Client.Refused", "Server.Broken"]), ("12", ["Sender", "Receiver"])):
            for style in STYLES:
                for kind, expected in zip(("caller", "server"), code):
                    call = request("Fail", kind, style=style)
                    one = self.fail_with(401, [f"Code: {{{ENVELOPE[version]}}}{expected}", f"Reason: The {kind} is to blame: <ä>", "urn:example:clerk"],
                                         f"{self.service}/{version}/{style}", call, options={"WSCP_SOAP_VERSION": ".".join(version)})
                    detail = ElementTree.fromstring(re.search(r"(?s)Detail: (.*)", one["err"]).group(1))
                    self.assertEqual((detail.findtext(f".//{name('who')}"), detail.findtext(f".//{name('count')}")), (kind, "3"))
                    self.assertIsNone(one["outputs"][name("FailResponse")])
                    if version == "12":
                        self.assertIn("Subcode: " + ("Refused" if kind == "caller" else "Broken"), one["err"])

    def test_one_way(self):
        for version in ENVELOPE:
            for status in ("200", "202", "204"):
                one = self.answer(f"{self.service}/{version}/bare/{status}", request("Echo", "x"), options={"WSCP_SOAP_VERSION": ".".join(version)})
                self.assertEqual((one["outputs"][name("EchoResponse")], one["responseValues"]["HTTP_STATUS"]), (None, [status]))

    def test_request_and_response_values(self):
        call = request("Echo", "x", requestValues={"HTTP_HEADER/X-Tenant": ["7", "8"], "HTTP_HEADER/User-Agent": ["host"], "version": ["11"], "style": ["bare"], "list": ["a b", "c&d", "ü"]})
        report = self.succeed(self.service + "/{version}/{style}{?list*,lang}", call, uri=self.service + "/{version}/{+style:3}{?list*,lang,version}")
        self.assertEqual(report["uri"], ["version", "style", "list", "lang"])
        about, _ = self.last()
        self.assertEqual((about["path"], about["query"], about["headers"]["x-tenant"], about["headers"]["user-agent"]),
                         ("/11/bare", "list=a%20b&list=c%26d&list=%C3%BC", "7,8", "host"))
        values = report["calls"][0]["responseValues"]
        self.assertEqual({key: values.get(key) for key in ("HTTP_STATUS", "HTTP_REASON", "HTTP_VERSION", "HTTP_HEADER/X-Trace", "HTTP_HEADER/Content-Type")},
                         {"HTTP_STATUS": ["200"], "HTTP_REASON": ["OK"], "HTTP_VERSION": ["HTTP/1.0"], "HTTP_HEADER/X-Trace": ["one", "two"],
                          "HTTP_HEADER/Content-Type": ["text/xml; charset=utf-8"]})
        self.fail_with(106, ["color", "version"], self.service + "/{version}/bare", request("Echo", "x", requestValues={"version": ["11"], "color": ["red"]}))
        broken = self.drive(self.service, uri="http://example.com/{a}/{b")
        self.assertRegex(broken["uri"]["err"], r"^QVWS-1725: .* failed with code 106: .*\b24\b")

    def test_reset_and_what_stays(self):
        first = request("Echo", "one", requestValues={"HTTP_HEADER/X-Tenant": ["7"]})
        second = request("Sleep", 0, reset=True)
        nothing = {"reset": True}
        calls = self.drive(f"{self.service}/11/bare", first, {}, second, nothing)["calls"]
        self.assertEqual([one["ok"] for one in calls], [True, True, True, False])
        self.assertEqual(calls[1]["outputs"], calls[0]["outputs"])
        self.assertEqual(list(calls[2]["outputs"]), [name("SleepResponse")])
        sent = self.requests()
        self.assertEqual([about["headers"].get("x-tenant") for about, _ in sent], ["7"] * len(sent))
        self.assertEqual([ElementTree.fromstring(envelope).find(".//*[1]/..").tag for _, envelope in sent[:1]], [f"{{{ENVELOPE['11']}}}Envelope"])
        self.assertEqual([[child.tag for child in ElementTree.fromstring(envelope)[-1]] for _, envelope in sent[:3]], [[name("Echo")], [name("Echo")], [name("Sleep")]])


class Security(ServiceCase):
    def test_username_tokens(self):
        soap_true = {"11": {"1"}, "12": {"1", "true"}}
        for version, soap in ENVELOPE.items():
            for kind in ("Text", "Digest"):
                for must in (None, "true"):
                    options = {"WSCP_WS-SECURITY_USER": USER, "WSCP_WS-SECURITY_PASS": PASSWORD, "WSCP_SOAP_VERSION": ".".join(version)}
                    options |= {"WSCP_WS-SECURITY_DIGEST": "true"} if kind == "Digest" else {}
                    options |= {"WSCP_WS-SECURITY_MUST": must} if must else {}
                    address = f"{self.service}/{version}/bare/{kind}"
                    # The service refuses a nonce that it has seen.
                    self.succeed(address, request("Echo", "x", repeat=3), options=options)
                    header, = ElementTree.fromstring(self.last()[1])[0]
                    if kind == "Digest":
                        self.assertNotIn(escape(PASSWORD), self.last()[1])
                    self.assertIn(header.get(f"{{{soap}}}mustUnderstand"), soap_true[version] if must else {None, "0", "false"})
                    one = self.fail_with(401, ["FailedAuthentication"], address, request("Echo", "x"), options=options | {"WSCP_WS-SECURITY_PASS": "n0t the one"})
                    self.assertNotIn("n0t", one["err"])

    def test_beside_other_headers(self):
        call = request("Echo", "x", f"{{{ENVELOPE['11']}}}Header")
        call["inputs"].append({"name": f"{{{ENVELOPE['11']}}}Header", "text": "<t:Ticket><t:number>1</t:number></t:Ticket>"})
        one = self.answer(f"{self.service}/11/bare/Text", call, options={"WSCP_WS-SECURITY_USER": USER, "WSCP_WS-SECURITY_PASS": PASSWORD})
        self.assertEqual(self.text(one["outputs"][f"{{{ENVELOPE['11']}}}Header"]), "2stamped x")
        one = self.fail_with(401, ["no such user"], f"{self.service}/11/bare/Text", call,
                             options={"WSCP_WS-SECURITY_USER": "dom\\" + USER, "WSCP_WS-SECURITY_PASS": PASSWORD})
        self.assertIn(f"dom\\{USER}", self.last()[1])


class Files(ServiceCase):
    def test_in_and_out_in_little_memory(self):
        content = base64.b64encode(hashlib.sha256(b"random").digest() * (24 << 15))  # 32 MiB
        source, target = self.folder / "in", self.folder / "out"

        def call(value):
            source.write_bytes(value)
            target.write_text("old")
            report = self.succeed(f"{self.service}/12/bare", {"inputs": [{"name": name("Mirror"), "file": str(source), "xml": xml}],
                                                               "outputs": [{"name": name("MirrorResponse"), "file": str(target)}]},
                                  options={"WSCP_SOAP_VERSION": "1.2"}, env={"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"})
            self.assertEqual(sorted(self.folder.iterdir()), sorted([source, target]))
            return report
        for xml in (True, False):
            wrapped = (b"<t:Mirror>", b"</t:Mirror>") if xml else (b"", b"")
            small = call(b"YWJj".join(wrapped))
            self.assertEqual(self.text(target.read_bytes()), "YWJj")
            large = call(content.join(wrapped))
            answer = ElementTree.parse(target).getroot()
            self.assertEqual((answer.tag, answer.text == content.decode()), (name("MirrorResponse"), True))
            self.assertGreater(self.last()[0]["size"], len(content))
            self.assertLess(large["peakKiB"] - small["peakKiB"], 16 << 10, (small["peakKiB"], large["peakKiB"]))
            if not large["sanitized"]:  # sanitizers take as much for themselves
                self.assertLess(large["peakKiB"], 64 << 10)

    def test_a_target_stays_as_it_was(self):
        target = self.folder / "out"
        target.write_text("old")
        missing = self.folder / "missing"
        malformed = self.folder / "malformed"
        malformed.write_text("<t:Echo>\n</t:Ecco>")
        here = f"{self.service}/11/bare"
        file = lambda output, path: {"name": name(output), "file": str(path)}
        for code, words, address, inputs, output in (
                (401, ["blame"], here, [{"name": name("Fail"), "text": element("Fail", "caller")}], file("FailResponse", target)),
                (207, ["404"], f"{self.service}/11/nothing", [{"name": name("Echo"), "text": ""}], file("EchoResponse", target)),
                (201, [str(missing)], here, [file("Echo", missing)], file("EchoResponse", target)),
                (106, [str(malformed), "line 2"], here, [file("Echo", malformed)], file("EchoResponse", target)),
                (212, [str(missing / "x")], here, [{"name": name("Echo"), "text": ""}], file("EchoResponse", missing / "x"))):
            with self.subTest(code):
                self.fail_with(code, words, address, {"inputs": inputs, "outputs": [output]})
        # An output that the answer does not have.
        self.answer(here, {"inputs": [{"name": name("Echo"), "text": ""}], "outputs": [file("Other", target)]})
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(sorted(one.name for one in self.folder.iterdir() if "payload" not in one.name), ["malformed", "out"])


class Apached(ServiceCase):
    """Calls through an Apache."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.apache = cls.enterClassContext(apache.Apache(folder.name, cls.service))
        cls.ca = {"WSCP_TLS_CA_FILE": f"{folder.name}/ca.pem"}
        cls.certificate = {"WSCP_TLS_CERT_FILE": f"{folder.name}/client.pem", "WSCP_TLS_KEY_FILE": f"{folder.name}/client.key"}
        cls.stranger = {"WSCP_TLS_CA_FILE": f"{folder.name}/stranger.pem"}

    def echo(self, address, **options):
        one = self.answer(address + "/11/bare", request("Echo", TEXT), options=options)
        self.assertEqual(self.text(one["outputs"][name("EchoResponse")]), TEXT)
        return one

    def refuse(self, code, words, address, **options):
        return self.fail_with(code, words, address + "/11/bare", request("Echo", TEXT), options=options)


class Authentication(Apached):
    def test_good_and_bad_credentials(self):
        good = {"WSCP_USER": apache.USER, "WSCP_PASS": apache.PASSWORD}
        for scheme, ways in (("basic", [None, "any", "basic"]), ("digest", [None, "any", "digest"])):
            address = f"{self.apache.url['http']}/{scheme}"
            for way in ways:
                with self.subTest(scheme=scheme, way=way):
                    chosen = {"WSCP_AUTH": way} if way else {}
                    self.echo(address, **good, **chosen)
                    self.assertEqual(self.last()[0]["headers"]["x-user"], apache.USER)
                    count = len(self.requests())
                    self.refuse(208, ["401"], address, **good | {"WSCP_PASS": "wr0ng one"}, **chosen)
                    self.refuse(208, ["401"], address, **good | {"WSCP_USER": "eve"}, **chosen)
                    self.refuse(208, ["401"], address)
                    self.assertEqual(len(self.requests()), count)

    def test_basic_is_sent_unasked_over_https_alone(self):
        for kind, way, sent in (("https", {}, True), ("http", {}, False), ("http", {"WSCP_AUTH": "basic"}, True)):
            self.echo(self.apache.url[kind], WSCP_USER=apache.USER, WSCP_PASS=apache.PASSWORD, **self.ca, **way)
            self.assertEqual(self.last()[0]["headers"].get("authorization", "").startswith("Basic "), sent, (kind, way))

    def test_one_authentication_serves_many_calls(self):
        report = self.succeed(f"{self.apache.url['http']}/digest/11/bare", request("Echo", "x", repeat=5),
                              options={"WSCP_USER": apache.USER, "WSCP_PASS": apache.PASSWORD, "WSCP_AUTH": "digest"})
        self.assertEqual(len(report["calls"]), 5)

    def test_a_file_is_sent_again_when_it_has_to_be(self):
        large = self.folder / "large"
        large.write_bytes(b"<t:Digest>" + b"YWJj" * (1 << 19) + b"</t:Digest>")  # large enough to ask before it is sent
        for path in ("/basic", "/digest"):
            one = self.answer(f"{self.apache.url['http']}{path}/11/bare", {"inputs": [{"name": name("Digest"), "file": str(large)}], "outputs": [{"name": name("DigestResponse")}]},
                              options={"WSCP_USER": apache.USER, "WSCP_PASS": apache.PASSWORD, "WSCP_AUTH": "any"})
            self.assertEqual(self.text(one["outputs"][name("DigestResponse")]), f"{3 << 19} {hashlib.sha256(b'abc' * (1 << 19)).hexdigest()}")

    def test_packed_answers(self):
        one = self.echo(self.apache.url["http"] + "/gzip")
        self.assertEqual(one["responseValues"]["HTTP_HEADER/Content-Encoding"], ["gzip"])


class Tls(Apached):
    def test_authorities(self):
        https = self.apache.url["https"]
        self.echo(https, **self.ca)
        self.refuse(205, ["certificate"], https)
        self.refuse(205, ["certificate"], https, **self.stranger)
        self.refuse(205, ["no-such.pem"], https, WSCP_TLS_CA_FILE=str(self.folder / "no-such.pem"))
        self.assertNotIn("WSCP_TLS_INSECURE", self.log)
        self.echo(https, WSCP_TLS_INSECURE="true")
        self.assertRegex(self.log, "(?i)insecure")

    def test_client_certificates(self):
        client = self.apache.url["client"]
        self.echo(client, **self.ca, **self.certificate)
        self.assertEqual(self.last()[0]["headers"]["x-client"], "tests-client")
        self.refuse(205, ["certificate"], client, **self.ca)
        self.refuse(205, ["key"], client, **self.ca, **self.certificate | {"WSCP_TLS_KEY_FILE": str(self.folder / "none.key")})


class Proxies(Apached):
    def through(self, kind, **more):
        return {"WSCP_PROXY_HOST": "127.0.0.1", "WSCP_PROXY_PORT": str(self.apache.port[kind]), **self.ca, **more}

    def test_http_and_https_through_a_proxy(self):
        good = {"WSCP_PROXY_USER": apache.USER, "WSCP_PROXY_PASS": apache.PASSWORD}
        for kind in ("http", "https"):
            address = self.apache.url[kind]
            mark = f"{self.apache.port['open']} {'CONNECT' if kind == 'https' else 'POST'} "
            with self.subTest(kind):
                self.echo(address, **self.through("open"))
                self.assertIn(mark, self.apache.log())
                self.echo(address, **self.through("proxy", **good))
                self.assertNotIn("proxy-authorization", self.last()[0]["headers"] if kind == "https" else ())
                self.refuse(208, ["proxy"], address, **self.through("proxy"))
                self.refuse(208, ["proxy"], address, **self.through("proxy", **good | {"WSCP_PROXY_PASS": "wr0ng one"}))

    def test_a_proxy_that_is_not_there(self):
        closed, = apache.free_ports(1)
        gone = {"WSCP_PROXY_HOST": "127.0.0.1", "WSCP_PROXY_PORT": str(closed)}
        self.refuse(204, [str(closed)], self.apache.url["http"], **gone)
        self.echo(self.apache.url["http"], **gone, WSCP_NO_PROXY="example.com,127.0.0.1")
        self.refuse(203, ["nowhere.invalid"], self.apache.url["http"], WSCP_PROXY_HOST="nowhere.invalid", WSCP_PROXY_PORT="3128")

    def test_server_and_proxy_each_get_their_own(self):
        options = self.through("proxy", WSCP_PROXY_USER=apache.USER, WSCP_PROXY_PASS=apache.PASSWORD, WSCP_USER=apache.USER, WSCP_PASS=apache.PASSWORD)
        for scheme in ("basic", "digest"):
            self.echo(f"{self.apache.url['http']}/{scheme}", **options)
            self.assertEqual(self.last()[0]["headers"]["x-user"], apache.USER)


class Plain:
    """A server of HTTP/1.1 that answers by path and remembers what it saw: `answers` has path -> a function of the handler; `before_body` is called before a large body."""

    def __init__(self, test, answers):
        self.seen, self.connections, self.before_body = [], 0, lambda: None
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def setup(self):
                outer.connections += 1
                super().setup()

            def handle_expect_100(self):
                outer.before_body()
                return super().handle_expect_100()

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                outer.seen.append((self.path, dict(self.headers.items()), body))
                answers[self.path](self)

            def log_message(self, *_):
                pass
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # clients go away on purpose
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        test.addCleanup(self.server.server_close)
        test.addCleanup(self.server.shutdown)
        self.url = f"http://127.0.0.1:{self.server.server_port}"


def reply(status=200, body=enveloped("11", f'<EchoResponse xmlns="{NS}">x</EchoResponse>'), kind="text/xml", **headers):
    def send(handler):
        raw = body if isinstance(body, bytes) else body.encode()
        handler.send_response(status)
        for key, value in ({"Content-Type": kind, "Content-Length": str(len(raw))} | headers).items():
            handler.send_header(key, value)
        handler.end_headers()
        handler.wfile.write(raw)
    return send


def chunks(handler):
    handler.send_response(200)
    handler.send_header("Transfer-Encoding", "chunked")
    handler.end_headers()
    for piece in (*re.findall("(?s).{1,9}", enveloped("11", f'<EchoResponse xmlns="{NS}">x</EchoResponse>')), ""):
        handler.wfile.write(f"{len(piece):x}\r\n{piece}\r\n".encode())


class Connections(Case):
    def test_kept_between_calls(self):
        head = b"HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\nHTTP/1.1 299 Fine  indeed \r\nX-A: 1\r\nx-b:\r\nX-A:  2 \r\n folded\r\nContent-Length: 0\r\n\r\n"
        server = Plain(self, {"/": reply(), "/fault": reply(500, enveloped("11", "<e:Fault><faultcode>e:Server</faultcode><faultstring>no</faultstring></e:Fault>")),
                              "/empty": reply(202, ""), "/chunks": chunks, "/bye": reply(**{"Connection": "close"}), "/head": lambda handler: handler.wfile.write(head)})
        first = request("Echo", "x", repeat=4, requestValues={"HTTP_HEADER/X-Empty": [""]})
        for path, ok, connections in (("/", True, 1), ("/fault", False, 1), ("/empty", True, 1), ("/chunks", True, 1), ("/bye", True, 8), ("/head", True, 1)):
            with self.subTest(path):
                server.connections = 0
                calls = self.drive(server.url + path, first, {"reset": True}, request("Echo", "y", repeat=3))["calls"]
                self.assertEqual(([one["ok"] for one in calls], server.connections), ([ok] * 8, connections))
        self.assertEqual(calls[0]["responseValues"], {"HTTP_STATUS": ["299"], "HTTP_REASON": ["Fine  indeed"], "HTTP_VERSION": ["HTTP/1.1"], "HTTP_HEADER/X-A": ["1", "2 folded"],
                                                      "HTTP_HEADER/x-b": [""], "HTTP_HEADER/Content-Length": ["0"]})
        self.assertEqual({key for _, headers, _ in server.seen for key in headers} & {"Expect", "Transfer-Encoding"}, set())
        self.assertEqual(server.seen[0][1]["X-Empty"], "")

    def from_file(self, path, value, **more):
        path.write_bytes(b"<t:Echo>" + value + b"</t:Echo>")
        return {"inputs": [{"name": name("Echo"), "file": str(path)}]} | more

    def test_sent_at_most_once(self):
        def answer(handler):
            if len(server.seen) == 1:
                reply()(handler)
            else:
                handler.close_connection = True
        for call in (request("Echo", "x"), self.from_file(self.folder / "in", b"x")):
            server = Plain(self, {"/": answer})
            calls = self.drive(server.url + "/", call, {})["calls"]
            self.assertEqual(([one["ok"] for one in calls], len(server.seen)), ([True, False], 2))
            self.assertRegex(calls[1]["err"], "with code 210: .*not sent again")

    def test_a_service_that_wants_no_authentication(self):
        """Ways to authenticate that begin with a question are no reason to fail."""
        server = Plain(self, {"/": lambda handler: reply()(handler) if server.seen[-1][2] else reply(500, "nothing to read", "text/plain")(handler)})
        self.succeed(server.url + "/", request("Echo", "x"), self.from_file(self.folder / "in", b"x"), options={"WSCP_USER": "u", "WSCP_PASS": "s3cret", "WSCP_AUTH": "digest"})
        self.assertEqual([len(body) > 0 for _, _, body in server.seen], [False, True] * 2)

    def test_redirects(self):
        other = Plain(self, {"/x": reply()})
        moved = {f"/{status}{away}": reply(status, "moved", Location=other.url + "/x" if away else "/here") for status in (302, 307, 308) for away in ("", "away")}
        server = Plain(self, moved | {"/here": reply()})
        (self.folder / "qvws.toml").write_text('[headers]\nX-Static = "s"\n')
        options = {"WSCP_USER": "u", "WSCP_PASS": "s3cret", "WSCP_AUTH": "basic", "WSCP_CONFIG": str(self.folder / "qvws.toml"), "WSCP_ACTION": "urn:a"}
        secret = {"WSCP_WS-SECURITY_USER": "u", "WSCP_WS-SECURITY_PASS": "hidden"}
        call = request("Echo", "x", requestValues={"HTTP_HEADER/X-Key": ["k"]})
        for path, allowed, more, refused in (("/307", 0, {}, "WSCP_REDIRECTS"), ("/307", 1, secret, None), ("/308", 5, {}, None), ("/302", 5, {}, "another request"), ("/307away", 1, {}, None),
                                             ("/307away", 1, secret, "password")):
            with self.subTest(path, allowed=allowed):
                more = options | more | {"WSCP_REDIRECTS": str(allowed)}
                self.fail_with(209, [refused], server.url + path, call, options=more) if refused else self.answer(server.url + path, call, options=more)
        self.assertEqual({headers.get("Authorization", "")[:6] for _, headers, _ in server.seen}, {"Basic "})
        (_, headers, _), = other.seen
        self.assertEqual(({"Authorization", "X-Static", "X-Key"} & set(headers), headers["Content-Type"], headers["SOAPAction"]), (set(), "text/xml; charset=utf-8", '"urn:a"'))

    def test_files_that_fail_on_the_way(self):
        source = self.folder / "in"
        server = Plain(self, {"/": reply(body=enveloped("11", f'<EchoResponse xmlns="{NS}">{"x" * 200000}</EchoResponse>'))})
        call = self.from_file(source, b"x" * (3 << 20), outputs=[{"name": name("EchoResponse"), "file": "/dev/full"}])
        self.fail_with(212, ["/dev/full"], server.url + "/", call)
        self.assertIn("Expect", server.seen[0][1])
        server.before_body = lambda: source.write_bytes(b"changed")
        self.fail_with(201, ["changed"], server.url + "/", call)

    def test_dropped_when_cancelled(self):
        release = threading.Event()
        self.addCleanup(release.set)
        turns = iter(range(100))
        server = Plain(self, {"/": lambda handler: release.wait(20) if next(turns) == 1 else reply()(handler)})
        calls = self.drive(server.url + "/", request("Echo", "x"), {"cancelAfterMs": [50, 0], "pollMs": 5}, {})["calls"]
        self.assertEqual(([one["ok"] for one in calls], server.connections, len(server.seen)), ([True, False, False, True], 2, 3))

    def test_an_idle_connection_that_was_closed_is_replaced(self):
        def close(handler):
            reply()(handler)
            handler.close_connection = True
        server = Plain(self, {"/": close})
        self.succeed(server.url + "/", request("Echo", "x"), {"pauseMs": 300})
        self.assertEqual((len(server.seen), server.connections), (2, 2))


@contextlib.contextmanager
def full_port():
    """A port where connections are neither made nor refused."""
    with socket.create_server(("127.0.0.1", 0), backlog=0) as server, contextlib.ExitStack() as waiting:
        for _ in range(8):
            one = waiting.enter_context(socket.socket())
            one.setblocking(False)
            one.connect_ex(server.getsockname())
        yield server.getsockname()[1]


@contextlib.contextmanager
def deaf_port():
    """A port where connections are made and nothing is ever read."""
    with socket.create_server(("127.0.0.1", 0)) as server, contextlib.ExitStack() as kept:
        def accept():
            with contextlib.suppress(OSError):
                while True:
                    kept.enter_context(server.accept()[0])
        threading.Thread(target=accept, daemon=True).start()
        yield server.getsockname()[1]
        server.shutdown(socket.SHUT_RDWR)


class Cancels(ServiceCase):
    """Slow calls, stopped at points that are random but the same in each run: 40 of each kind."""
    POINTS = 40

    def test_at_any_point(self):
        chance = random.Random(20240229)
        points = lambda: [chance.choice((0, chance.uniform(0, 30), chance.uniform(0, 200))) for _ in range(self.POINTS)]
        large = self.folder / "large"
        large.write_bytes(b"<t:Digest>" + b"YWJj" * (4 << 20) + b"</t:Digest>")
        slow, trickle = request("Sleep", 3), request("Echo", "x" * 2000)
        send = {"inputs": [{"name": name("Digest"), "file": str(large)}]}
        # A look-up cannot be stopped: its descriptor stays until it ends by itself.
        unnamed = {"pauseMs": 1500, "cancelAfterMs": [0]}
        with full_port() as full, deaf_port() as deaf:
            jobs = [(f"{self.service}/11/bare", slow, request("Sleep", 0)), ("http://slow.invalid/", slow, unnamed), (f"{self.service}/11/bare/trickle", trickle, None), (f"http://127.0.0.1:{full}/", slow, None),
                    (f"http://127.0.0.1:{deaf}/", send, None), (f"https://127.0.0.1:{deaf}/", slow, None)]
            failures = []

            def run(address, call, after):
                try:
                    report = self.drive(address, call | {"cancelAfterMs": points(), "pollMs": 10}, *([after] if after else []), slowNamesMs=1000)
                    self.check(address, report, after)
                except BaseException as failure:  # a thread's failure is the test's
                    failures.append(failure)
            threads = [threading.Thread(target=run, args=job) for job in jobs]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
        for failure in failures:
            raise failure

    def check(self, address, report, after):
        cancelled = report["calls"][:self.POINTS]
        for one in cancelled:
            self.assertFalse(one["ok"], address)
            self.assertRegex(one["err"], r"^QVWS-1725: .* failed with code 211: ", address)
            self.assertLess(one["sinceCancelMs"], 250, address)
        for one in report["calls"][-1:] if "slow.invalid" in address else cancelled:
            # Two are those that the transport waits with; it need not be made yet.
            self.assertLessEqual(one["descriptors"], report["descriptorsBefore"] + 2, address)
        self.assertEqual(report["descriptorsAfter"], report["descriptorsBefore"], address)
        if after and "inputs" in after:
            self.assertTrue(report["calls"][-1]["ok"], report["calls"][-1].get("err"))


if __name__ == "__main__":
    unittest.main()
