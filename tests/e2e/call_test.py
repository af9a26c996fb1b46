#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Calls of a service that is not ours, through the library as it is built: driver.cpp is the host, service.py the service, apache.py what lies between them."""
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import urllib.error
import urllib.request

from service import NS, PASSWORD, USER

HERE = pathlib.Path(__file__).resolve().parent
BIN = pathlib.Path(os.environ["QVWS_BIN"])
ENVELOPE = {"11": "http://schemas.xmlsoap.org/soap/envelope/", "12": "http://www.w3.org/2003/05/soap-envelope"}
MEDIA = {"11": "text/xml", "12": "application/soap+xml"}
STYLES = ("wrapped", "bare")


class Case(unittest.TestCase):
    """A class has a service of its own, and each test a folder."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.received = pathlib.Path(folder.name)
        process = subprocess.Popen([sys.executable, "-B", HERE / "service.py", folder.name], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        cls.addClassCleanup(process.communicate)  # it ends with its input
        cls.service = f"http://127.0.0.1:{int(process.stdout.readline())}"

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)


def enveloped(version, payload, header=""):
    return f'<e:Envelope xmlns:e="{ENVELOPE[version]}"><e:Header>{header}</e:Header><e:Body>{payload}</e:Body></e:Envelope>'


class Peers(Case):
    """What the other tests lean on: a service that takes everything would prove nothing."""

    def post(self, path, payload, header="", version="11"):
        request = urllib.request.Request(self.service + path, enveloped(version, payload, header).encode(), {"Content-Type": f"{MEDIA[version]}; charset=utf-8"})
        try:
            with urllib.request.urlopen(request, timeout=20) as answer:
                return answer.status, answer.read().decode()
        except urllib.error.HTTPError as error:
            with error:
                return error.code, error.read().decode()

    def test_payloads_are_checked_against_the_schema(self):
        for style, good, bad in (("bare", f'<Sleep xmlns="{NS}">0</Sleep>', f'<Sleep xmlns="{NS}">long</Sleep>'),
                                 ("wrapped", f'<Sleep xmlns="{NS}"><value>0</value></Sleep>', f'<Sleep xmlns="{NS}"><valeu>0</valeu></Sleep>')):
            for version in ENVELOPE:
                self.assertEqual([self.post(f"/{version}/{style}", payload, version=version)[0] for payload in (good, bad)], [200, 500], (version, style))

    def test_security_headers_are_checked(self):
        from zeep import ns
        from zeep.wsse import utils
        from zeep.wsse.username import UsernameToken
        from lxml import etree

        def header(password=PASSWORD, digest=False, age=0, user=USER):
            created = datetime.datetime.utcnow() - datetime.timedelta(seconds=age)
            stamp = utils.WSU.Timestamp(*(name(f"{moment.isoformat(timespec='seconds')}Z") for name, moment in
                                          ((utils.WSU.Created, created), (utils.WSU.Expires, created + datetime.timedelta(minutes=5)))))
            envelope = etree.fromstring(enveloped("11", ""))
            UsernameToken(user, password, use_digest=digest, created=created, timestamp_token=stamp, zulu_timestamp=True).apply(envelope, {})
            return etree.tostring(envelope.find(f".//{{{ns.WSSE}}}Security")).decode()
        echo = f'<Echo xmlns="{NS}">x</Echo>'
        for kind in ("Text", "Digest"):
            digest = kind == "Digest"
            once = header(digest=digest)
            for status, one in ((200, once), (500 if digest else 200, once), (500, header("wrong", digest)), (500, header(digest=not digest)), (500, header(digest=digest, age=3600)),
                                (500, header(digest=digest, user="eve")), (500, "")):
                self.assertEqual(self.post(f"/11/bare/{kind}", echo, one)[0], status, one)


if __name__ == "__main__":
    unittest.main()
