#!/usr/bin/env python3
"""A peer for TLS: tls_peer.py serve|connect CERTIFICATES VERSION MODE [PORT]

As a server it prints its port and takes one connection. The modes, after the handshake:
  clean   says hello and ends its session, then prints what comes until the other end
  cut     says hello and ends the connection, but not the session
  half    says hello and half a record, and ends the connection
  vanish  resets the connection
  silent  says nothing until the other end
VERSION is that of the protocol, as 1.3; CERTIFICATES a folder as certificates.sh fills it.
"""

import socket
import ssl
import struct
import sys

role, folder, version, mode = sys.argv[1:5]
serves = role == "serve"

context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER if serves else ssl.PROTOCOL_TLS_CLIENT)
context.load_verify_locations(f"{folder}/root.crt")
context.load_cert_chain(f"{folder}/{'server' if serves else 'client'}.pem")
context.minimum_version = context.maximum_version = {
    "1.2": ssl.TLSVersion.TLSv1_2,
    "1.3": ssl.TLSVersion.TLSv1_3,
}[version]

if serves:
    listener = socket.create_server(("127.0.0.1", 0))
    print(listener.getsockname()[1], flush=True)
    connection = listener.accept()[0]
else:
    connection = socket.create_connection(("127.0.0.1", int(sys.argv[5])))

incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
session = context.wrap_bio(incoming, outgoing, serves, None if serves else "localhost")


def go_on(call):
    """The result of a call of the session, with what it wants to send and to receive."""
    while True:
        try:
            result = call()
            connection.sendall(outgoing.read())
            return result
        except ssl.SSLWantReadError:
            connection.sendall(outgoing.read())
            received = connection.recv(65536)
            if received:
                incoming.write(received)
            else:
                incoming.write_eof()


def say(text):
    go_on(lambda: session.write(text))


def heard():
    """All that comes until the end of the session."""
    text = b""
    while True:
        try:
            piece = go_on(lambda: session.read(65536))
        except ssl.SSLZeroReturnError:
            return text
        if not piece:
            return text
        text += piece


go_on(session.do_handshake)
if mode == "clean":
    say(b"hello")
    try:
        session.unwrap()
    except ssl.SSLWantReadError:
        connection.sendall(outgoing.read())
    print(heard().decode(), end="", flush=True)
elif mode == "cut":
    say(b"hello")
elif mode == "half":
    say(b"hello")
    session.write(b"x" * 1000)
    connection.sendall(outgoing.read(500))
elif mode == "vanish":
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
elif mode == "silent":
    heard()
connection.close()
