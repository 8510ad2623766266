#!/usr/bin/env python3
"""Backend of the OxCALL tests, on loopback only.

call_backend.py HOST PORT SILENT_PORT

On PORT it answers every request with a chunked page whose chunks cut
through tags, attributes and comments, with an extension on one chunk size;
/echo answers with the request it received, chunked too. On SILENT_PORT it
accepts connections and never answers. It stops when its standard input
closes, or after five minutes.
"""
import socket
import sys
import threading
import time

PAGE = (b'<html><head><title>Chunked &amp; cut</title></head>\n'
        b'<body><a href="/one" title=\'first link\'>one</a>\n'
        b'<!-- a comment > with a sign --><a href=/two>two</a>\n'
        b'<img src="x.png" alt = "two words" ismap/></body></html>\n')
CUTS = [1, 7, 2, 13, 5, 30, 3, 64, 11]


def chunked(body):
    out, at, i = b'', 0, 0
    while at < len(body):
        size = CUTS[i % len(CUTS)]
        piece = body[at:at + size]
        extension = b';name=value' if i == 3 else b''
        out += b'%x%s\r\n%s\r\n' % (len(piece), extension, piece)
        at, i = at + size, i + 1
    return out + b'0\r\n\r\n'


def read_request(connection):
    data = b''
    while b'\r\n\r\n' not in data:
        more = connection.recv(4096)
        if not more:
            return data
        data += more
    head, _, body = data.partition(b'\r\n\r\n')
    for line in head.split(b'\r\n'):
        if line.lower().startswith(b'content-length:'):
            length = int(line.split(b':')[1])
            while len(body) < length:
                more = connection.recv(4096)
                if not more:
                    break
                body += more
    return head + b'\r\n\r\n' + body


def answer(connection):
    with connection:
        request = read_request(connection)
        body = request if request.split(b' ')[1:2] == [b'/echo'] else PAGE
        connection.sendall(b'HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n'
                           b'Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n' +
                           chunked(body))


def serve(listener, handle):
    while True:
        connection, _ = listener.accept()
        threading.Thread(target=handle, args=(connection,), daemon=True).start()


def hold(connection):
    time.sleep(300)
    connection.close()


def main():
    host, port, silent_port = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    for number, handle in ((port, answer), (silent_port, hold)):
        listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind((host, number))
        listener.listen(16)
        threading.Thread(target=serve, args=(listener, handle), daemon=True).start()
    stopper = threading.Thread(target=sys.stdin.read, daemon=True)
    stopper.start()
    stopper.join(300)


if __name__ == '__main__':
    main()
