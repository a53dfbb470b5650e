#!/usr/bin/env python3
"""A server that answers well or badly, as the path asks: /cut, /reset, /drip and so on (see ANSWERS).

    fault_server.py DIRECTORY

Prints its process id, its port for plain HTTP and that for TLS. Its root certificate, made for the run, is root.pem in
DIRECTORY.
"""

import os
import socket
import ssl
import struct
import subprocess
import sys
import threading
import time

DATE = b"Mon, 01 Jan 2024 00:00:00 GMT"


def answer(body, headers=b"", status=b"200 OK"):
    return b"HTTP/1.1 %s\r\n%sContent-Length: %d\r\n\r\n%s" % (status, headers, len(body), body)


def conditional(request):
    if b"If-Modified-Since: " + DATE in request:
        return b"HTTP/1.1 304 Not Modified\r\n\r\n"
    return answer(b"list", b"Last-Modified: " + DATE + b"\r\n")


SCRIPT = b"function FindProxyForURL(url, host) { return 'PROXY ' + host + ':81'; }"

ANSWERS = {
    b"/proxy.pac": lambda request: answer(SCRIPT),
    b"/private.pac": lambda request: answer(SCRIPT, b"WWW-Authenticate: Negotiate\r\n", b"401 Unauthorized"),
    b"/moved.pac": lambda request: answer(b"", b"Location: /proxy.pac\r\n", b"302 Found"),
    b"/ok": lambda request: answer(b"hello"),
    b"/conditional": conditional,
    b"/echo": answer,
    b"/missing": lambda request: answer(b"none", status=b"404 Not Found"),
    b"/redirect": lambda request: answer(b"", b"Location: http://127.0.0.1:%d/ok\r\n" % plain_port, b"302 Found"),
    b"/bare": lambda request: b"HTTP/1.0 200 OK\r\n\r\nbody",
    b"/interim": lambda request: b"HTTP/1.1 100 Continue\r\nX-First: 1\r\n\r\n" + answer(b"late"),
    b"/hints": lambda request: b"HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n" + answer(b"late"),
    b"/headers": lambda request: answer(
        b"", b"X-A: one\r\nX-A: two\r\nx-a: three\r\nEmpty:\r\nColon: a:b: c\r\nTail:\t v \r\nName : n\r\nX:\r\n"),
    b"/garbage": lambda request: b"\x00\x01 no answer\r\n\r\n",
    b"/nothing": lambda request: b"",
    b"/cut": lambda request: answer(b"x" * 1000)[:-900],
    b"/half-head": lambda request: answer(b"", b"Last-Modified: " + DATE + b"\r\n")[:-5],
    b"/reset": lambda request: answer(b"x" * 1000)[:-900],
    b"/announced": lambda request: answer(b"x" * 100000),
    b"/large": lambda request: answer(b"x" * 4000000),
    b"/long": lambda request: answer(b"", b"X-Long: " + b"x" * 1000000 + b"\r\n"),
}


def receive(connection):
    request = b""
    while b"\r\n\r\n" not in request:
        block = connection.recv(65536)
        if not block:
            return request
        request += block
    head = request.split(b"\r\n\r\n")[0].lower()
    if b"expect: 100-continue" in head:
        connection.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
    length = next((int(line.split(b":")[1]) for line in head.split(b"\r\n") if line.startswith(b"content-length:")), 0)
    while len(request.split(b"\r\n\r\n", 1)[1]) < length:
        request += connection.recv(65536)
    return request


def serve(connection, context):
    try:
        if context:
            connection = context.wrap_socket(connection, server_side=True)
        request = receive(connection)
        if not request:
            return  # the client thought better of it
        words = request.split(b" ")
        if words[0] == b"CONNECT":
            connection.sendall(b"HTTP/1.1 403 Forbidden\r\nX-Proxy: no\r\n\r\n")
        elif words[1] == b"/drip":
            connection.sendall(answer(b"x" * 100000)[:-99999])
            while True:
                connection.sendall(b"x")
                time.sleep(0.02)
        elif words[1] == b"/endless":
            connection.sendall(b"HTTP/1.1 200 OK\r\n\r\n")
            while True:
                connection.sendall(b"x" * 65536)
        elif words[1] == b"/silent":
            connection.recv(1)
        else:
            connection.sendall(ANSWERS[words[1].split(b"?")[0]](request))
        if words[1] == b"/bare?ended":
            connection.unwrap()  # the server's own word that this is the end
        if words[1] == b"/reset":
            time.sleep(0.1)  # what was sent goes first
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        connection.close()
    except OSError:
        pass


def listen(context):
    listener = socket.create_server(("127.0.0.1", 0))

    def accept():
        while True:
            connection = listener.accept()[0]
            threading.Thread(target=serve, args=(connection, context), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    return listener.getsockname()[1]


def make_context(directory):
    key, certificate = os.path.join(directory, "key.pem"), os.path.join(directory, "root.pem")
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Test Root",
         "-addext", "subjectAltName=IP:127.0.0.1,DNS:tavrin.localhost", "-keyout", key, "-out", certificate],
        check=True, stderr=subprocess.DEVNULL)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


def main():
    global plain_port
    plain_port = listen(None)
    print(os.getpid(), plain_port, listen(make_context(sys.argv[1])), flush=True)
    threading.Event().wait()


main()
