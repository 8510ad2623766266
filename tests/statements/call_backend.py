"""call_backend.py PORT SILENT_PORT FILE: on 127.0.0.1:PORT, answers every
request with FILE chunked in cuts through tags and attributes, one chunk size
with an extension; SILENT_PORT accepts and never answers. Ends with stdin."""
import socket
import sys
import threading


def chunked(body, cuts=(1, 7, 2, 13, 5, 30, 3, 64, 11)):
    out, at, i = b'', 0, 0
    while at < len(body):
        piece = body[at:at + cuts[i % len(cuts)]]
        out += b'%x%s\r\n%s\r\n' % (len(piece), b';name=v' if i == 3 else b'', piece)
        at, i = at + len(piece), i + 1
    return out + b'0\r\n\r\n'


def serve(listener, reply):
    while True:
        connection, request = listener.accept()[0], b''
        while b'\r\n\r\n' not in request and (more := connection.recv(4096)):
            request += more
        connection.sendall(reply)
        connection.close()


port, silent, name = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3]
reply = (b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n' +
         chunked(open(name, 'rb').read()))
page = socket.create_server(('127.0.0.1', port))
quiet = socket.create_server(('127.0.0.1', silent))
threading.Thread(target=serve, args=(page, reply), daemon=True).start()
sys.stdin.read()
