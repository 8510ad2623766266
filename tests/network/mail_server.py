"""SMTP servers on loopback for the mail tests, on the six ports given by
a comma-separated list: each offers other AUTH methods and writes every message it
takes, with how its sender authenticated, as one JSON line to
received.jsonl of the directory given, and the last message as it came to
last.eml. The proofs of CRAM-MD5 and DIGEST-MD5 are checked here with hmac
and hashlib. Runs until its standard input closes."""
import base64, hashlib, hmac, json, os, ssl, sys, threading

import aiosmtpd.smtp
from aiosmtpd.controller import Controller
from aiosmtpd.smtp import AuthResult

USER, PASSWORD = b"mailer", b"s3cret pass"
directory, certificate, key = sys.argv[1], sys.argv[3], sys.argv[4]
ports = [int(port) for port in sys.argv[2].split(",")]
aiosmtpd.smtp.SMTP.line_length_limit = 1 << 20
lock = threading.Lock()


def md5hex(data):
    return hashlib.md5(data).hexdigest().encode()


class Handler:
    async def handle_RCPT(self, server, session, envelope, address, options):
        if "reject" in address:
            return "550 5.1.1 No such user here"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        record = {"port": server.transport.get_extra_info("sockname")[1],
                  "helo": session.host_name, "extended": session.extended_smtp,
                  "tls": server.transport.get_extra_info("ssl_object") is not None,
                  "auth": getattr(session, "auth_data", None) and session.auth_data.decode(),
                  "from": envelope.mail_from, "to": envelope.rcpt_tos,
                  "data": envelope.original_content.decode("latin-1")}
        with lock, open(os.path.join(directory, "received.jsonl"), "a") as out:
            out.write(json.dumps(record) + "\n")
        with lock, open(os.path.join(directory, "last.eml"), "wb") as out:
            out.write(envelope.original_content)
        return "250 Message accepted for delivery"

    async def auth_CRAM__MD5(self, server, args):
        challenge = b"<1896.697170952@oxin.test>"
        answer = await server.challenge_auth(challenge)
        name, _, proof = answer.partition(b" ")
        good = name == USER and proof == hmac.new(PASSWORD, challenge, "md5").hexdigest().encode()
        return AuthResult(success=good, handled=False, auth_data=b"CRAM-MD5")

    async def auth_DIGEST__MD5(self, server, args):
        nonce = b"OA6MG9tEQGm2hh"
        answer = await server.challenge_auth(
            b'realm="oxin.test",nonce="' + nonce + b'",qop="auth",algorithm=md5-sess,charset=utf-8')
        fields = {}
        for part in answer.split(b","):
            name, _, value = part.partition(b"=")
            fields[name.decode()] = value.strip(b'"')
        uri, cnonce = fields["digest-uri"], fields["cnonce"]
        a1 = md5hex(hashlib.md5(USER + b":oxin.test:" + PASSWORD).digest() + b":" + nonce + b":" + cnonce)
        def value(a2):
            return md5hex(a1 + b":" + nonce + b":00000001:" + cnonce + b":auth:" + md5hex(a2))
        good = (fields.get("username") == USER and fields.get("qop") == b"auth"
                and uri == b"smtp/127.0.0.1" and fields.get("response") == value(b"AUTHENTICATE:" + uri))
        if not good:
            return AuthResult(success=False, handled=False)
        await server.challenge_auth(b"rspauth=" + value(b":" + uri))
        return AuthResult(success=True, auth_data=b"DIGEST-MD5")


def authenticator(server, session, envelope, mechanism, data):
    good = data.login == USER and data.password == PASSWORD
    return AuthResult(success=good, handled=False, auth_data=mechanism.encode())


tls = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
tls.load_cert_chain(certificate, key)
ALL = ["LOGIN", "PLAIN", "CRAM-MD5", "DIGEST-MD5"]
# Offered methods, STARTTLS offered, TLS from the first byte.
servers = [(ALL, True, False), (ALL[:3], True, False), (ALL[:2], True, False),
           (ALL[:1], True, False), (ALL, False, True), ([], False, False)]
controllers = []
for offset, (offered, starttls, implicit) in enumerate(servers):
    controller = Controller(
        Handler(), hostname="127.0.0.1", port=ports[offset], server_hostname="mail.oxin.test",
        ssl_context=tls if implicit else None, tls_context=tls if starttls else None,
        auth_require_tls=False, authenticator=authenticator,
        auth_exclude_mechanism=[m for m in ALL if m not in offered])
    controller.start()
    controllers.append(controller)
print("ready", flush=True)
sys.stdin.read()
for controller in controllers:
    controller.stop()
