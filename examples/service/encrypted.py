#!/usr/bin/env python3
"""Tries the log-collecting service with TLS: encrypted.py EXAMPLES.

EXAMPLES is the folder of the built examples, beside those of the programs and modules, which it takes the
module for TLS from. Without that module, or without openssl to make certificates, it leaves all out.
"""

import contextlib
import os
import pathlib
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time

import collector
import faults
from collector import PATIENCE, Client, Service
from faults import expect


class Place:
    """A registry with the module, and certificates, each of which vouches for itself."""

    def __init__(self, examples, folder):
        self.folder = pathlib.Path(folder)
        module = self.folder / "qxtransport_tls.so"
        # A copy: whoever may write the folders of the build could exchange what is loaded.
        shutil.copy(examples.parent / "modules/qxtransport_tls.so", module)
        module.chmod(0o700)
        self.environment = {"XDG_DATA_HOME": str(self.folder / "data")}
        subprocess.run([examples.parent / "tools/qxreg", "register", module], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, **self.environment})
        self.server = self.certificate("server")

    def certificate(self, name, file=None):
        path = self.folder / ((file or name) + ".pem")
        made = path.with_suffix(".new")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "30", "-subj", f"/CN={name}", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
                        "-keyout", made.with_suffix(".key"), "-out", made], check=True, stderr=subprocess.DEVNULL)
        path.write_text(made.read_text() + made.with_suffix(".key").read_text())
        return path

    def context(self, own=None):
        context = ssl.create_default_context(cafile=self.server)
        if own:
            context.load_cert_chain(own)
        return context

    @contextlib.contextmanager
    def used(self, *options, **arguments):
        """All services and clients are those of TLS."""
        options = ("--certificate", str(self.server), *options)
        Service.defaults = (options, self.environment)
        Client.context = self.context(**arguments)
        try:
            yield
        finally:
            Service.defaults, Client.context = ((), {}), None


def is_refused(port, context):
    """Also where the client hears of it only after its handshake."""
    Client.context = context
    try:
        return Client(port).greeting == ""
    except OSError:  # those of ssl among them
        return True


def survives_rude_peers(examples, place):
    with place.used("--idle", "1000"), faults.running(examples) as service:
        context = Client.context
        silent = socket.create_connection(("127.0.0.1", service.port), timeout=PATIENCE)  # holds up nobody
        plain = socket.create_connection(("127.0.0.1", service.port), timeout=PATIENCE)
        plain.sendall(b"INFO web a line that is not encrypted\n")
        polite = service.connect()
        expect("OK 1", polite.ask("INFO polite x\n"))
        assert b"HELLO" not in plain.makefile("rb").read(), "an answer that is not encrypted"
        assert is_refused(service.port, ssl.create_default_context()), "a certificate that nobody vouches for"
        Client.context = context
        cut = service.connect()
        expect("OK 1", cut.ask("INFO rude whole\n"))
        cut.say("INFO rude half")
        cut.vanish()
        flood = service.connect()
        flood.socket.settimeout(0.5)
        with contextlib.suppress(OSError):
            while True:  # takes no answers, until nobody reads it any more
                flood.say("\n" * 5000)
        expect(b"", silent.recv(1))
        expect("BYE no line for too long", polite.hear())
        expect("", polite.hear())
        expect("OK 1", service.connect().ask("INFO polite y\n"))
    assert {"x", "y", "whole"} <= set(service.texts) and "half" not in " ".join(service.texts), service.texts
    for reason in ("too slow in the handshake", "refused: "):
        assert reason in service.log, service.log


def asks_for_certificates(examples, place):
    known, unknown = place.certificate("known"), place.certificate("unknown")
    with place.used("--trust", str(known), own=known), faults.running(examples) as service:
        context = Client.context
        expect("OK 1", service.connect().ask("INFO web x\n"))
        for own in (None, unknown):
            assert is_refused(service.port, place.context(own)), own
        Client.context = context
        expect("OK 1", service.connect().ask("INFO web y\n"))


def renews_its_certificate(examples, place):
    """SIGHUP: new connections have the new one, old ones go on; one that is no good changes nothing."""
    with place.used(), tempfile.TemporaryDirectory() as folder:
        service = Service(examples, folder)
        before = service.connect()
        first = before.socket.getpeercert(True)

        def renew(text):
            place.server.write_text(text)
            count = service.plain().count("opened anew")
            service.process.send_signal(signal.SIGHUP)
            while service.plain().count("opened anew") == count:
                time.sleep(0.01)

        newer = place.certificate("newer")
        Client.context = ssl.create_default_context(cafile=newer)
        renew(newer.read_text())
        limit = time.monotonic() + PATIENCE
        while time.monotonic() < limit:  # it is read behind that
            with contextlib.suppress(ssl.SSLError):
                assert service.connect().socket.getpeercert(True) != first
                break
        expect("OK 1", before.ask("INFO web x\n"))
        renew("nothing")
        expect("OK 1", service.connect().ask("INFO web y\n"))
        status, _, errors = service.stop()
        assert status == 0 and "server.pem" in errors, (status, errors)


def refuses_bad_settings(examples, place):
    with tempfile.TemporaryDirectory() as folder:
        for options, environment, words in [
            (["--certificate", folder + "/none.pem"], place.environment, "none.pem"),
            (["--certificate", str(place.server), "--trust", "none.pem"], place.environment, "none.pem"),
            (["--certificate", str(place.server)], {}, "Orbelle.Transport.TLS"),  # an empty registry
        ]:
            status, _, errors = Service(examples, folder, *options, environment=environment).end()
            assert status == 2 and words in errors, (options, status, errors)


def main(examples):
    needed = [examples.parent / "modules/qxtransport_tls.so", examples.parent / "tools/qxreg"]
    missing = [path.name for path in needed if not path.exists()] + ["openssl"] * (not shutil.which("openssl"))
    if missing:
        print("left out without " + " and ".join(missing))
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        place = Place(examples, folder)

        def plain_tests():
            with place.used():
                faults.answers_malformed_lines(examples)
                faults.keeps_what_it_acknowledged(examples)

        for name, test in [("as without TLS", plain_tests), *(
                (test.__name__, lambda test=test: test(examples, place)) for test in (
                    survives_rude_peers, asks_for_certificates, refuses_bad_settings, renews_its_certificate))]:
            begin = time.monotonic()
            test()
            print(f"{name}: {time.monotonic() - begin:.1f} s", flush=True)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve())
