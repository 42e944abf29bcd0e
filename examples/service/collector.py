"""The log-collecting service and a client of it, for programs that put it under strain."""

import os
import pathlib
import resource
import signal
import socket
import subprocess
import xml.etree.ElementTree as xml

PATIENCE = 30  # seconds, on a machine that does much else


class Service:
    """A service in a folder of its own."""

    defaults = (), {}  # options and variables of all

    def __init__(self, examples, folder, *options, limit=None, environment=None, command=None,
                 **arguments):
        """The command comes in the place of the program with its addresses and the folder."""
        self.folder = pathlib.Path(folder)
        options = (*options, *self.defaults[0])
        environment = {**self.defaults[1], **(environment or {})}

        def restrict():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

        self.process = subprocess.Popen(
            [*(command or [examples / "Service", "--addresses", "127.0.0.1", "--port", "0",
                           "--folder", folder]), *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env={**os.environ, "XDG_DATA_HOME": str(self.folder / "data"), **environment},
            preexec_fn=restrict if limit else None, **arguments)
        greeting = self.process.stdout.readline()
        self.port = int(greeting.rpartition(":")[2]) if greeting.startswith("listening") else None

    def connect(self):
        return Client(self.port)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.end()

    def end(self):
        """Status, output and errors."""
        out, errors = self.process.communicate(timeout=PATIENCE)
        return self.process.returncode, out, errors

    def plain(self):
        """All lines, also those of files that have become full or were renamed."""
        older = sorted(self.folder.glob("service.log.*"), key=lambda path: -int(path.suffix[1:]))
        return "".join(path.read_text(encoding="utf-8")
                       for path in [*older, self.folder / "service.log"])

    def entries(self):
        """The texts in the XML logs of all runs."""
        return [text.text[1:-1] for path in self.folder.glob("service-*.xml")
                for text in xml.parse(path).iter("text")]


class Client:
    context = None  # of ssl, when the services speak TLS

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=PATIENCE)
        if self.context:
            self.socket = self.context.wrap_socket(self.socket, server_hostname="localhost")
        self.answers = self.socket.makefile("rb")
        self.greeting = self.hear()

    def say(self, text):
        self.socket.sendall(text if isinstance(text, bytes) else text.encode())

    def hear(self):
        """A line; an empty one at the end, also behind one that was cut short there."""
        answer = self.answers.readline().decode()
        return answer[:-1] if answer.endswith("\n") else ""

    def ask(self, text):
        self.say(text)
        return self.hear()

    def close(self):
        self.answers.close()
        self.socket.close()

    def vanish(self):
        """Ends the connection with a reset, as a client that is killed does."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
        self.close()
