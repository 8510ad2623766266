#!/usr/bin/python3
"""The engine as web servers run it: lighttpd and Apache httpd with mod_cgi
on 127.0.0.1, requests made with curl, and the CGI program run directly for
the failures that end before a script runs (their exit status is not visible
through a server).

Usage: web_server_test.py BUILD_DIR SOURCE_DIR [unittest arguments]
"""
import html
import os
import pwd
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path
from urllib.parse import quote

BUILD = os.path.abspath(sys.argv[1])
SOURCE = os.path.abspath(sys.argv[2])
ROOT = os.geteuid() == 0
MB5 = 5 * 1024 * 1024


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def listening(host, port):
    try:
        with socket.create_connection((host, port), timeout=0.2):
            return True
    except OSError:
        return False


# The contact example's mail servers: SMTP on a free port, POP3 on port
# 110 of a loopback address where nothing listens yet.
SMTP_PORT = free_port()
POP_HOST = next(f"127.0.0.{n}" for n in range(2 + os.getpid() % 200, 254)
                if not listening(f"127.0.0.{n}", 110))


def wait_for_port(port, process, seconds=10):
    deadline = time.time() + seconds
    while not listening("127.0.0.1", port):
        if process.poll() is not None:
            raise RuntimeError("the web server ended at once")
        if time.time() > deadline:
            raise RuntimeError("the web server did not start")
        time.sleep(0.05)


class Site:
    """A site in a temporary directory: the compiled examples and test
    scripts, data and temporary directories, the engine and its
    configuration library and file."""

    CONFIG = """dir_oxin = {root}/scripts
dir_data = {root}/data
dir_temp = {root}/temp
timeout_global = 2
timeout_post = 2
max_post_vars = 20
max_unknown_content_length = 1000
max_async_tasks = 1
timeout_async = 1
library builtin {build}/lib/liboxinhtml.so
library commerce testpay {build}/lib/liboxintestpay.so
library database memdb {build}/lib/liboxinmemdb.so
system contact_to = owner@oxin.test
system contact_smtp_host = 127.0.0.1
system contact_smtp_port = {smtp_port}
system contact_pop_host = {pop_host}
log_level = 0x400000F0
log_file = logs/oxin.log
log_filter = logged, !loop
log_cookie = letmein
"""

    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="oxin-site-")
        os.chmod(self.root, 0o755)
        for name in ("scripts", "data/mailbox", "data/logs", "temp", "docroot/cgi-bin", "logs", "lib"):
            os.makedirs(os.path.join(self.root, name), exist_ok=True)
        os.chmod(os.path.join(self.root, "logs"), 0o777)  # the servers write as nobody
        self.engine = os.path.join(self.root, "docroot/cgi-bin/oxin")
        shutil.copy(os.path.join(BUILD, "bin/oxin"), self.engine)
        self.library = os.path.join(self.root, "lib/liboxinconfig.so")
        shutil.copy(os.path.join(BUILD, "lib/liboxinconfig.so"), self.library)
        self.config = os.path.join(self.root, "oxin.conf")
        Path(self.config).write_text(self.CONFIG.format(root=self.root, build=BUILD, smtp_port=SMTP_PORT,
                                                     pop_host=POP_HOST))
        examples = os.path.join(SOURCE, "examples")
        scripts = os.path.join(SOURCE, "tests/host/scripts")
        targets = [(os.path.join(examples, d, "index.oxs"), f"{d}/index.oxc")
                   for d in sorted(os.listdir(examples))
                   if os.path.exists(os.path.join(examples, d, "index.oxs"))]
        targets += [(os.path.join(scripts, n), n[:-4] + ".oxc")
                    for n in sorted(os.listdir(scripts))]
        for source, target in targets:
            target = os.path.join(self.root, "scripts", target)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            subprocess.run([os.path.join(BUILD, "bin/oxin-asm"), source, target], check=True)
        for name in sorted(os.listdir(examples)):
            data = os.path.join(examples, name, "data")
            for file in os.listdir(data) if os.path.isdir(data) else []:
                shutil.copy(os.path.join(data, file), os.path.join(self.root, "data"))
        header = b"Oxin\x0b\x00\x01\x00" + b"\x00" * 16 + (32).to_bytes(4, "little")
        for name, length in (("cut", 5), ("corrupt", 0)):
            Path(self.root, f"scripts/{name}.oxc").write_bytes(
                header + length.to_bytes(4, "little"))
        # Run as root, the engine changes to the scripts' owner.
        if ROOT:
            nobody = pwd.getpwnam("nobody")
            for sub in ("scripts", "data", "temp"):
                for path, dirs, files in os.walk(os.path.join(self.root, sub)):
                    for name in [path] + [os.path.join(path, n) for n in files]:
                        os.chown(name, nobody.pw_uid, nobody.pw_gid)
        # Web servers run the engine in its own directory, where it finds
        # the library, and the library its file.
        shutil.copy(self.library, os.path.join(self.root, "docroot/cgi-bin"))
        shutil.copy(self.config, os.path.join(self.root, "docroot/cgi-bin"))
        self.environment = {"OxCONFIG_LIBRARY": self.library, "OxCONFIG_FILE": self.config}

    def remove(self):
        shutil.rmtree(self.root, ignore_errors=True)


class Server:
    """A web server on a free port of 127.0.0.1 serving site, its output
    in NAME.out there."""

    def __init__(self, site):
        self.port = free_port()
        conf = os.path.join(site.root, f"{self.NAME}.conf")
        Path(conf).write_text(self.CONFIG.format(root=site.root, port=self.port,
                                                 user=self.USER if ROOT else ""))
        self.log = open(os.path.join(site.root, f"{self.NAME}.out"), "w")
        self.process = subprocess.Popen(self.COMMAND + [conf] + self.OPTIONS, stdin=subprocess.PIPE,
                                        stdout=self.log, stderr=self.log, start_new_session=True)
        wait_for_port(self.port, self.process)

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.log.close()


class Lighttpd(Server):
    NAME, COMMAND, OPTIONS = "lighttpd", ["lighttpd", "-D", "-f"], []
    USER = 'server.username = "nobody"\nserver.groupname = "nogroup"\n'
    CONFIG = """server.modules = ("mod_cgi",)
server.document-root = "{root}/docroot"
server.bind = "127.0.0.1"
server.port = {port}
server.errorlog = "{root}/logs/lighttpd-error.log"
server.max-request-size = 65536
server.stream-request-body = 2
{user}$HTTP["url"] =~ "^/cgi-bin/" {{ cgi.assign = ("" => "") }}
"""


class Apache(Server):
    NAME, COMMAND, OPTIONS = "apache", ["apache2", "-f"], ["-DFOREGROUND"]
    USER = "User nobody\nGroup nogroup\n"
    CONFIG = "".join(f"LoadModule {m}_module /usr/lib/apache2/modules/mod_{m}.so\n"
                     for m in ("mpm_prefork", "cgi", "authz_core", "alias")) + """\
ServerRoot "{root}"
ServerName 127.0.0.1
Listen 127.0.0.1:{port}
PidFile "{root}/apache.pid"
ErrorLog "{root}/logs/apache-error.log"
DefaultRuntimeDir "{root}"
{user}ScriptAlias /cgi-bin/ "{root}/docroot/cgi-bin/"
<Directory "{root}/docroot/cgi-bin">
    Require all granted
</Directory>
"""


def curl(port, path, *options):
    """(status, headers as a lower-case dict, body bytes)"""
    result = subprocess.run(["curl", "-s", "-i", "--max-time", "60", *options,
                             f"http://127.0.0.1:{port}{path}"], capture_output=True, check=True)
    head, _, body = result.stdout.partition(b"\r\n\r\n")
    lines = head.decode("latin-1").split("\r\n")
    status = int(lines[0].split()[1])
    pairs = (line.partition(":") for line in lines[1:])
    return status, {name.strip().lower(): value.strip() for name, _, value in pairs}, body


def fields(body):
    """The name=value lines of the request script."""
    return dict(line.split("=", 1) for line in body.decode("latin-1").splitlines() if "=" in line)


class ServerTests:
    """Requests that every server must serve alike."""

    server = None

    @classmethod
    def setUpClass(cls):
        cls.site = Site()
        try:
            cls.web = cls.server(cls.site)
        except Exception:
            cls.site.remove()
            raise
        cls.port = cls.web.port

    @classmethod
    def tearDownClass(cls):
        cls.web.stop()
        # The engine's standard error goes to the server's log: a sanitizer
        # report there fails the run even when the page looked right.
        root = cls.site.root
        logs = [os.path.join(root, "logs", n) for n in os.listdir(os.path.join(root, "logs"))]
        logs += [os.path.join(root, n) for n in os.listdir(root) if n.endswith(".out")]
        reports = [line for name in logs for line in open(name, errors="replace")
                   if "Sanitizer" in line or "runtime error:" in line]
        cls.site.remove()
        assert not reports, "".join(reports[:20])

    def get(self, path, *options):
        return curl(self.port, path, *options)

    def test_hello_page(self):
        status, headers, body = self.get("/cgi-bin/oxin/hello/index.oxc", "--http1.0")
        self.assertEqual((status, body), (200, b"Hello"))
        # Apache sends its own framing in place of the script's length.
        if self.server is Lighttpd:
            self.assertEqual(headers["content-length"], "5")
        self.assertTrue(headers["content-type"].startswith("text/html"))

    def test_script_and_arguments_in_the_path_or_the_query(self):
        # The query is also split into arguments on "+".
        _, _, body = self.get("/cgi-bin/oxin/request.oxc?a=1&b=x&b=y")
        got = fields(body)
        self.assertEqual([got[k] for k in ("a", "b[2]", "apitype", "arg1", "arg2", "nargs",
                                           "documenturl", "oxinversion")],
                         ["1", "y", "Redirect", "/request.oxc", "a=1&b=x&b=y", "2",
                          f"http://127.0.0.1:{self.port}/request.oxc?", "5.30"])
        _, _, body = self.get("/cgi-bin/oxin?request.oxc+one++t%77o")
        got = fields(body)
        self.assertEqual([got[k] for k in ("arg1", "arg2", "arg3", "nargs", "apitype",
                                           "documenturl")],
                         ["request.oxc", "one", "two", "3", "CGI",
                          f"http://127.0.0.1:{self.port}/cgi-bin/oxin?request.oxc+"])

    PLAIN = ("-H", "Content-Type: text/plain", "--data-binary")
    MULTIPART = ("-H", "Content-Type: multipart/form-data; boundary=xx", "--data-binary")
    PART = "--xx\r\nContent-Disposition: form-data; name=\"{}\"\r\n"
    # Script, curl options, whether the body "is", holds ("in") or "starts"
    # with the expected bytes, and those bytes.
    ANSWERS = [
        ("form/index.oxc", ("--data", "name=Ann&comment=Hi+there%21"), "in",
         b"<p>name=Ann</p>\n<p>comment=Hi there!</p>"),
        ("request.oxc", PLAIN + ("raw body",), "in", b"\ncontent_data=raw body\n"),
        ("request.oxc", ("--data", "a=%41%zz%00end&b=1&b=2"), "in", b"\na=AS\x00end\n"),
        ("nothere.oxc", (), "starts", b"Unable to execute 'nothere.oxc': "),
        ("form/index.oxc", ("--data", "&".join(f"v{i}={i}" for i in range(30))), "is",
         b"Maximum number of POST variables exceeded"),
        ("request.oxc", PLAIN + ("x" * 2000,), "is",
         b"POST content length exceeds configured maximum for unknown content types"),
        ("form/index.oxc", MULTIPART + (PART.format("a") + "X-Other: 1\r\n\r\nv\r\n--xx--\r\n",),
         "is", b"Premature end of line when expecting file header type"),
        # A multipart body cut off loses its last part.
        ("form/index.oxc", MULTIPART + (PART.format("name") + "\r\nBob\r\n" +
                                        PART.format("comment") + "\r\nno end",),
         "in", b"<p>name=Bob</p>\n<p>comment=</p>"),
    ]

    def test_answers_to_bodies_and_their_limits(self):
        for script, options, how, expected in self.ANSWERS:
            with self.subTest(script=script, options=options[-1:]):
                _, _, body = self.get("/cgi-bin/oxin/" + script, *options)
                if how == "starts":
                    self.assertTrue(body.startswith(expected), body)
                else:
                    (self.assertEqual if how == "is" else self.assertIn)(expected, body)

    def test_two_uploads_of_five_megabytes(self):
        files = []
        for name, byte in (("first.bin", b"\x01"), ("second.bin", b"\xfe")):
            files.append(os.path.join(self.site.root, name))
            Path(files[-1]).write_bytes(byte * (MB5 - 7) + b"\r\n--x\r\n")
        _, _, body = self.get("/cgi-bin/oxin/upload/index.oxc",
                              "-F", f"one=@{files[0]}", "-F", f"two=@{files[1]}")
        self.assertIn(f"<pre>\none: first.bin, {MB5} bytes, COMPLETE\n"
                      f"two: second.bin, {MB5} bytes, COMPLETE\n</pre>".encode(), body)
        # The temporaries are gone.
        self.assertEqual([n for n in os.listdir(os.path.join(self.site.root, "data"))
                          if n.startswith("OXIN_FUP")], [])

    def test_caller_id_cookie_issued_once_and_kept(self):
        _, headers, body = self.get("/cgi-bin/oxin/request.oxc")
        cookie = headers["set-cookie"]
        self.assertRegex(cookie, r"^qtxcallerid=[0-9a-f]{32}; expires=\w{3}, \d\d-\w{3}-\d{4} "
                                 r"\d\d:\d\d:\d\d GMT; path=/$")
        value = cookie.split(";")[0].split("=")[1]
        self.assertEqual(fields(body)["callerid"], value)
        _, headers, body = self.get("/cgi-bin/oxin/request.oxc",
                                    "-H", f"Cookie: other=1; qtxcallerid={value}")
        self.assertEqual(fields(body)["callerid"], value)
        self.assertTrue(headers["set-cookie"].startswith(f"qtxcallerid={value};"))

    def test_endless_script_times_out(self):
        start = time.time()
        _, _, body = self.get("/cgi-bin/oxin/loop.oxc")
        self.assertEqual(body, b"looping\nApplication timed out")
        self.assertLess(time.time() - start, 30)


LOG_LINE = re.compile(r"[A-Z][a-z]{2} [ 0-9]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{6}"
                      r"\t[0-9]+\t(Trace|Function Call|Function Parameter|Function Return Value"
                      r"|Function Return)\t([^\t\n]*(?:\t[^\t\n]*)*)\n")
LOG_FIELDS = {"Trace": 3, "Function Call": 3, "Function Parameter": 5,
              "Function Return Value": 4, "Function Return": 4}


def write_tasks_table(path):
    """An empty dBase III table with the fields pid and error."""
    fields = (("PID", 10), ("ERROR", 80))
    header_size = 32 + 32 * len(fields) + 1
    record_size = 1 + sum(size for _, size in fields)
    head = bytes([3, 124, 1, 1]) + (0).to_bytes(4, "little") + header_size.to_bytes(
        2, "little") + record_size.to_bytes(2, "little") + bytes(20)
    for name, size in fields:
        head += name.encode().ljust(11, b"\0") + b"C" + bytes(4) + bytes([size, 0]) + bytes(14)
    Path(path).write_bytes(head + b"\r\x1a")
    if ROOT:
        nobody = pwd.getpwnam("nobody")
        os.chown(path, nobody.pw_uid, nobody.pw_gid)


def task_records(path):
    """(pid, error) of each record of the tasks table."""
    data = Path(path).read_bytes()
    count, start, size = (int.from_bytes(data[a:b], "little") for a, b in ((4, 8), (8, 10), (10, 12)))
    rows = (data[start + n * size + 1:start + (n + 1) * size] for n in range(count))
    return [tuple(f.decode().strip() for f in (r[:10], r[10:])) for r in rows]


def engine_processes(engine):
    """{pid: state} of the processes that run the engine."""
    listing = subprocess.run(["ps", "-eo", "pid=,stat=,args="], capture_output=True, text=True,
                             check=True).stdout
    return {int(line.split()[0]): line.split()[1] for line in listing.splitlines()
            if engine in line}


class LighttpdTests(ServerTests, unittest.TestCase):
    server = Lighttpd

    def test_report_example_lists_prices_from_the_memory_table(self):
        pages = {}
        for maximum in ("", "2.5", "0.79", "100", "<b>", "1.234", "-1"):
            _, _, body = self.get("/cgi-bin/oxin/report/index.oxc?max=" + quote(maximum))
            pages[maximum] = page = body.decode()
            self.assertRegex(page, r'^<!DOCTYPE html>\n<html lang="en">\n(?s:.*)</body>\n</html>\n$')
            self.assertNotIn("<gereift>", page)
            self.assertNotIn("<b>", page)
        rows = {"A1": "<tr><td>A1</td><td>Apple</td><td>2.50</td></tr>\n",
                "B2": "<tr><td>B2</td><td>Bread roll</td><td>0.80</td></tr>\n",
                "C3": "<tr><td>C3</td><td>Cheese &quot;Old Amsterdam&quot;</td><td>12.00</td></tr>\n"}
        for maximum, listed, summary in (("", "A1 B2 C3", "3 items, together 15.30"),
                                         ("2.5", "A1 B2", "2 items, together 3.30"),
                                         ("0.79", "", "0 items, together 0.00"),
                                         ("100", "A1 B2 C3", "3 items, together 15.30")):
            page = pages[maximum]
            self.assertIn("<p>The price list has 3 items.</p>", page)
            self.assertIn("<tr><th>Item</th><th>Name</th><th>Price</th></tr>\n"
                          + "".join(rows[c] for c in listed.split()) + "</table>\n"
                          f"<p>Listed: {summary}.</p>", page)
        self.assertIn("<h2>Items at or below 2.5</h2>", pages["2.5"])
        for maximum in ("<b>", "1.234", "-1"):
            self.assertIn(f'<p class="problem">&quot;{html.escape(maximum)}&quot; is not a price.',
                          pages[maximum])
            self.assertNotIn("<table>", pages[maximum])
        self.assertIn('value="&lt;b&gt;"', pages["<b>"])

    def logged(self, identity, cookie=None):
        options = ["-b", f"oxinlogcookie={cookie}"] if cookie else []
        status, _, body = self.get(f"/cgi-bin/oxin/logged.oxc?id={identity}", *options)
        self.assertEqual((status, body), (200, f"{identity}!\n".encode()))

    def fresh_log(self):
        logs = Path(self.site.root, "data/logs")
        if logs.is_dir():
            shutil.rmtree(logs)
        logs.mkdir()
        if ROOT:
            nobody = pwd.getpwnam("nobody")
            os.chown(logs, nobody.pw_uid, nobody.pw_gid)
        return logs / "oxin.log"

    def test_log_takes_whole_records_of_the_requests_with_the_cookie(self):
        log = self.fresh_log()
        seconds = float(os.environ.get("OXIN_LOG_SECONDS", "60"))
        sent = {None: [], "letmein": [], "letmein2": []}
        lock = threading.Lock()

        def client(number):
            deadline, n = time.time() + seconds, 0
            while time.time() < deadline:
                cookie = (None, "letmein", "letmein2")[n % 3]
                identity = f"c{number}r{n}"
                self.logged(identity, cookie)
                with lock:
                    sent[cookie].append(identity)
                n += 1

        threads = [threading.Thread(target=client, args=(i,)) for i in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        text = log.read_text(encoding="latin-1")
        lines = text.splitlines(keepends=True)
        parameters = []
        for line in lines:
            match = LOG_LINE.fullmatch(line)
            self.assertIsNotNone(match, line)
            values = match.group(2).split("\t")
            self.assertEqual(len(values), LOG_FIELDS[match.group(1)], line)
            if match.group(1) == "Function Parameter":
                self.assertEqual(values[:4], ["logged", "1", "tag", "id"])
                parameters.append(values[4])
        self.assertGreater(len(sent["letmein"]), 8)
        self.assertEqual(sorted(parameters), sorted(sent["letmein"]))
        self.assertEqual(len(lines), 7 * len(sent["letmein"]))

    def test_log_that_cannot_be_written_leaves_requests_answering(self):
        log = self.fresh_log()
        log.mkdir()
        self.logged("dir", "letmein")
        log.rmdir()
        log.write_text("")
        log.chmod(0)
        self.logged("denied", "letmein")
        self.assertEqual(log.stat().st_size, 0)
        shutil.rmtree(log.parent)
        self.logged("gone", "letmein")
        self.assertFalse(log.parent.exists())
        self.fresh_log()
    def test_background_task_outlives_the_response_and_its_time_limit(self):
        if not shutil.which("ps"):
            self.fail("ps is missing: install the Debian package procps")
        table = os.path.join(self.site.root, "data/tasks.dbf")
        write_tasks_table(table)
        status, _, body = self.get("/cgi-bin/oxin/async.oxc")
        # The whole response came, the server closed it, and the task runs on.
        self.assertEqual(status, 200)
        self.assertTrue(body.startswith(b"before\n") and body.endswith(b"after\n"), body)
        self.assertIn(b"Maximum number of asynchronous tasks exceeded", body)
        deadline = time.time() + 5
        while not task_records(table) and time.time() < deadline:
            time.sleep(0.05)
        [(pid, error)] = task_records(table)
        self.assertEqual(error, "Asynchronous tasks may not start additional asynchronous tasks")
        tasks = engine_processes(self.site.engine)
        self.assertEqual(list(tasks), [int(pid)])
        self.assertNotIn("Z", tasks[int(pid)])
        # Nothing of the client's or the server's: no pipe or socket, and
        # the standard descriptors lead nowhere.
        links = {int(fd): os.readlink(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd")}
        self.assertEqual([links[fd] for fd in (0, 1, 2)], ["/dev/null"] * 3)
        self.assertFalse([link for link in links.values() if link.startswith(("pipe:", "socket:"))],
                         links)
        # timeout_async of 1 second stops it at a beat; nothing is left.
        deadline = time.time() + 15
        while engine_processes(self.site.engine) and time.time() < deadline:
            time.sleep(0.2)
        self.assertEqual(engine_processes(self.site.engine), {})

    def test_visitor_text_in_the_examples_is_escaped(self):
        _, _, body = self.get("/cgi-bin/oxin/form/index.oxc", "--data-urlencode",
                              "name=<script>alert(1)</script>", "--data-urlencode", "comment=\"&'")
        self.assertIn(b"<p>name=&lt;script&gt;alert(1)&lt;/script&gt;</p>\n"
                      b"<p>comment=&quot;&amp;&#39;</p>", body)
        self.assertNotIn(b"<script>", body)
        path = os.path.join(self.site.root, "small.txt")
        Path(path).write_bytes(b"abc")
        _, _, body = self.get("/cgi-bin/oxin/upload/index.oxc",
                              "-F", f"one=@{path};filename=<b>.txt")
        self.assertNotIn(b"<b>", body)
        page = body.partition(b"<html>")[2].partition(b"</body>")[0]
        self.assertIn(b"one: &lt;b&gt;.txt, 3 bytes, COMPLETE", page)

    def test_checkout_example_pays_through_the_test_method(self):
        pages = {}
        for amount in ("42.50", "250", "5000", "<b>1</b>"):
            _, _, body = self.get("/cgi-bin/oxin/checkout/index.oxc", "--data-urlencode",
                                  "amount=" + amount)
            pages[amount] = body.decode()
            self.assertNotIn("<b>", pages[amount])
            self.assertTrue(pages[amount].endswith("</body></html>\n"), pages[amount])
        self.assertIn("<li>checked</li>\n<li>approved</li>\n</ol>\n"
                      "<p>The payment was approved, reference TP-4250.</p>", pages["42.50"])
        self.assertIn("<p>The payment was declined, reference TP-25000.</p>", pages["250"])
        self.assertIn("<ol>\n</ol>\n<p>The payment failed: testpay: amounts over 1000.00 are "
                      "not accepted</p>", pages["5000"])
        self.assertIn("<p>Paying &lt;b&gt;1&lt;/b&gt;:</p>", pages["<b>1</b>"])
        self.assertIn("failed: testpay: invalid amount '&lt;b&gt;1&lt;/b&gt;'", pages["<b>1</b>"])

    def test_links_example_lists_a_page_s_links_escaped(self):
        Path(self.site.root, "docroot", "links.html").write_text(
            "<p><a href=\"/one\">1</a> <a href='\"><script>x</script>'>2</a></p>")
        _, _, body = self.get("/cgi-bin/oxin/links/index.oxc?page=/links.html")
        page = body.decode()
        self.assertIn("<li><code>/one</code></li>\n"
                      "<li><code>&quot;&gt;&lt;script&gt;x&lt;/script&gt;</code></li>\n", page)
        self.assertNotIn("<script>", page)
        self.assertTrue(page.endswith("</body>\n</html>\n"), page)

    def contact(self, query="", **form):
        options = [o for item in form.items() for o in ("--data-urlencode", "%s=%s" % item)]
        _, _, body = self.get("/cgi-bin/oxin/contact/index.oxc" + query, *options)
        page = body.decode()
        self.assertTrue(page.endswith("</body>\n</html>\n"), page)
        self.assertNotIn("<b>", page)
        return page

    def test_contact_example_mails_checked_values_and_reads_them_back(self):
        from aiosmtpd.controller import Controller
        from aiosmtpd.handlers import Mailbox
        mail = os.path.join(self.site.root, "mail")
        os.makedirs(os.path.join(mail, "run"))
        smtp = Controller(Mailbox(os.path.join(mail, "maildir")), hostname="127.0.0.1",
                          port=SMTP_PORT)
        smtp.start()
        self.addCleanup(smtp.stop)
        self.assertIn("Please give an e-mail address",
                      self.contact(name="Eve", email="eve@x.test\nBcc: all@x.test", message="x"))
        self.assertIn("Thank you, &lt;b&gt;Ann&lt;/b&gt;.",
                      self.contact(name="<b>Ann</b>", email="ann@x.test", message="Hi <b>"))
        sent = [Path(mail, "maildir/new", n).read_text() for n in os.listdir(f"{mail}/maildir/new")]
        self.assertEqual(len(sent), 1)
        self.assertIn("\nSubject: Message from the contact form\nReply-To: ann@x.test\n", sent[0])
        self.assertTrue(sent[0].endswith("\n\n<b>Ann</b> <ann@x.test> wrote:\n\nHi <b>\n"))
        # Dovecot, as nobody, reads the mailbox by POP3 (port 110 needs root).
        Path(mail, "passwd").write_text("owner:{PLAIN}pw1\n")
        Path(mail, "dovecot.conf").write_text(
            f"protocols = pop3\nlisten = {POP_HOST}\nbase_dir = {mail}/run\nstate_dir = "
            f"{mail}/run\nlog_path = {mail}/dovecot.log\nssl = no\n"
            "disable_plaintext_auth = no\nauth_failure_delay = 0\n"
            f"passdb {{\n driver = passwd-file\n args = scheme=PLAIN {mail}/passwd\n}}\n"
            "userdb {\n driver = static\n args = uid=nobody gid=nogroup "
            f"home={mail} mail=maildir:{mail}/maildir\n}}\n"
            "service pop3-login {\n chroot =\n}\nservice anvil {\n chroot =\n}\n")
        subprocess.run(["chown", "-R", "nobody:nogroup", mail], check=True)
        dovecot = subprocess.Popen(["/usr/sbin/dovecot", "-F", "-c", f"{mail}/dovecot.conf"])
        self.addCleanup(lambda: (dovecot.terminate(), dovecot.wait()))
        deadline = time.time() + 10
        while not listening(POP_HOST, 110) and time.time() < deadline:
            time.sleep(0.05)
        page = self.contact("?page=mailbox", user="owner", password="pw1")
        self.assertIn("<tr><td>Message from the contact form</td><td>ann@x.test</td>", page)
        self.assertIn("<p>Messages: 1.</p>", page)
        self.assertIn(f"<p class=\"problem\">Error logging into '{POP_HOST}': [AUTH] "
                      "Authentication failed.</p>",
                      self.contact("?page=mailbox", user="<b>", password="wrong"))

    def shop(self, query="", language="en", **form):
        options = ["-H", f"Accept-Language: {language}"]
        options += [o for item in form.items() for o in ("--data-urlencode", "%s=%s" % item)]
        _, _, body = self.get("/cgi-bin/oxin/shop/index.oxc" + query, *options)
        page = body.decode()
        self.assertRegex(page, r'^<!DOCTYPE html>\n<html lang="[^"<]*">\n(?s:.*)</body>\n</html>\n$')
        self.assertNotIn("<gereift>", page)
        self.assertNotIn("<b>", page)
        return page

    def test_shop_example_in_two_languages_imports_prices_and_exports_orders(self):
        german = self.shop(language="de-DE,de;q=0.9")
        self.assertIn("<h1>Unsere Preise</h1>", german)
        self.assertIn("<tr><td>C3</td><td>Käse &lt;gereift&gt;</td><td>12.00</td></tr>", german)
        self.assertIn('<input type="hidden" name="lang" value="de">', german)
        # The lang field wins over the browser; a language the file lacks
        # gets the default one.
        for query, language in (("?lang=en", "de"), ("?lang=fr", "de"), ("", "fr-FR")):
            english = self.shop(query, language)
            self.assertIn("<h1>Our prices</h1>", english)
            self.assertIn("<td>Cheese &quot;Old Amsterdam&quot;</td>", english)
        customer = 'Eve <b>\\ & "co"\r\nline 2'
        for problem, form in (("Bitte bestellen Sie 1 bis 99", dict(item="A1", quantity="1.5")),
                              ("Bitte wählen Sie einen Artikel", dict(item="Z9", quantity="1")),
                              ("Ohne Tabulatoren", dict(item="A1", quantity="1", customer="a\tb"))):
            page = self.shop(lang="de", **{"customer": "Eve", **form})
            self.assertIn(problem.lower(), page.lower())
        self.assertFalse(os.path.exists(os.path.join(self.site.root, "data/orders.txt")))
        page = self.shop(lang="de", item="C3", quantity="2", customer=customer)
        self.assertIn("Danke, Eve &lt;b&gt;\\ &amp; &quot;co&quot;\r\nline 2. Sie haben 2 x "
                      "Käse &lt;gereift&gt; für 24.00 bestellt.", page)
        self.assertEqual(Path(self.site.root, "data/orders.txt").read_bytes(),
                         'C3\t2\tEve <b>\\\\ & "co"\\r\\nline 2\t24.00\n'.encode())

    def configure(self, **values):
        """Changes settings of the site's configuration for one test."""
        path = os.path.join(self.site.root, "docroot/cgi-bin/oxin.conf")
        original = Path(path).read_text()
        self.addCleanup(Path(path).write_text, original)
        text = original
        for name, value in values.items():
            text = re.sub(rf"(?m)^{name} = .*\n", "", text) + f"{name} = {value}\n"
        Path(path).write_text(text)

    def test_lockfile_keeps_eight_concurrent_counters_exact(self):
        self.configure(delay_file=1, timeout_global=120)
        requests = [subprocess.Popen(["curl", "-s", "--max-time", "120",
                                      f"http://127.0.0.1:{self.port}/cgi-bin/oxin/counter.oxc"],
                                     stdout=subprocess.PIPE) for _ in range(8)]
        self.assertEqual([r.communicate()[0] for r in requests], [b"done"] * 8)
        table = Path(self.site.root, "data/counter.dbf").read_bytes()
        header = int.from_bytes(table[8:10], "little")
        self.assertEqual(int(table[header + 1:header + 10]), 8000)
        self.assertFalse(os.path.exists(os.path.join(self.site.root, "data/counter.dbf.lck")))

    def test_lockfile_freed_by_the_time_limit_and_by_a_killed_holder(self):
        lock = os.path.join(self.site.root, "data/held.lck")
        _, _, body = self.get("/cgi-bin/oxin/holdlock.oxc?hold=1")
        self.assertEqual(body, b"Application timed out")
        self.assertFalse(os.path.exists(lock))
        holder = subprocess.Popen(["curl", "-s", f"http://127.0.0.1:{self.port}"
                                   "/cgi-bin/oxin/holdlock.oxc?hold=1"], stdout=subprocess.PIPE)
        deadline = time.time() + 5
        while not os.path.exists(lock) and time.time() < deadline:
            time.sleep(0.01)
        pid = int(Path(lock).read_text().partition("!")[0])
        os.kill(pid, signal.SIGKILL)
        holder.communicate()
        self.assertTrue(os.path.exists(lock))
        start = time.time()
        self.assertEqual(self.get("/cgi-bin/oxin/holdlock.oxc")[2], b"got the lock")
        self.assertLess(time.time() - start, 1.5)
        self.assertFalse(os.path.exists(lock))

    def guestbook(self, query="", **form):
        """The guestbook page, which must be a whole document."""
        options = [o for item in form.items() for o in ("--data-urlencode", "%s=%s" % item)]
        status, _, body = self.get("/cgi-bin/oxin/guestbook/index.oxc" + query, *options)
        page = body.decode()
        self.assertEqual(status, 200)
        self.assertRegex(page, r"^<!DOCTYPE html>\n<html>\n<head>\n[^<]*<meta charset=\"utf-8\">"
                               r"(?s:.*)</head>\n<body>\n(?s:.*)</body>\n</html>\n$")
        self.assertNotIn("<script>", page)
        return page

    def test_guestbook_lists_pages_searches_and_deletes_by_password(self):
        evil = "<script>\"Eve's\"</script>"
        names = ["Ann", evil] + [f"Guest{i:02}" for i in range(10)]
        for i, name in enumerate(names):
            self.guestbook(action="post", name=name, message=f"{name} & \"co\"", password=f"pw{i}")
        encoded = lambda text: html.escape(text).replace("&#x27;", "&#39;")
        shown = lambda page: re.findall(r"<b>(.*?)</b>", page)
        first, second = self.guestbook(), self.guestbook("?page=2")
        # Newest first, ten a page, with links both ways.
        self.assertEqual(shown(first) + shown(second), [encoded(n) for n in reversed(names)])
        self.assertIn('<a href="?page=2" rel="next">', first)
        self.assertNotIn('rel="prev"', first)
        self.assertIn('<a href="?page=1" rel="prev">', second)
        self.assertNotIn('rel="next"', second)
        self.assertIn(f'<p class="text">{encoded(evil)} &amp; &quot;co&quot;</p>', second)
        # Searches by the start of the name, in name order.
        self.assertEqual(shown(self.guestbook("?q=Guest0")), [f"Guest0{i}" for i in range(10)])
        found = self.guestbook("?q=%3Cscr")
        self.assertEqual(shown(found), [encoded(evil)])
        self.assertIn('<input name="q" value="&lt;scr">', found)
        self.assertEqual(shown(self.guestbook("?q=Guest1")), [])
        # Only the owner's password deletes, and only through a POST.
        ann = re.search(r'name="id" value="(\d+)"', self.guestbook("?q=Ann")).group(1)
        self.assertIn("Wrong password, or no such entry.",
                      self.guestbook(action="delete", id=ann, password="pw1"))
        self.guestbook(f"?action=delete&id={ann}&password=pw0")
        self.assertEqual(shown(self.guestbook("?q=A")), ["Ann"])
        self.assertIn(f"Entry {ann} was deleted.",
                      self.guestbook(action="delete", id=ann, password="pw0"))
        self.assertEqual(shown(self.guestbook("?page=2")), [encoded(evil)])
        self.assertEqual(shown(self.guestbook("?q=A")), [])
        # Passwords are kept as hashes; the indexes agree with the table.
        data = os.path.join(self.site.root, "data")
        self.assertNotIn(b"pw0", Path(data, "guestbook.dbf").read_bytes())
        check = subprocess.run([os.path.join(BUILD, "bin/oxin-dbf"), "guestbook.dbf", "gbid.qtx",
                                "gbname.qtx"], cwd=data, capture_output=True, text=True)
        self.assertEqual(len(re.findall(r"^\s*consistent$", check.stdout, re.M)), 2, check.stdout)


class ApacheTests(ServerTests, unittest.TestCase):
    server = Apache


class DirectTests(unittest.TestCase):
    """The CGI program run by hand: the failures before a script runs, with
    their texts and exit statuses."""

    @classmethod
    def setUpClass(cls):
        cls.site = Site()

    @classmethod
    def tearDownClass(cls):
        cls.site.remove()

    def run_engine(self, path_info, environment=None, preexec_fn=None):
        env = {"PATH": "/usr/bin:/bin", "PATH_INFO": path_info}
        env.update(self.site.environment if environment is None else environment)
        result = subprocess.run([self.site.engine], env=env, capture_output=True,
                                cwd=self.site.root, preexec_fn=preexec_fn)
        head, _, body = result.stdout.partition(b"\r\n\r\n")
        return result.returncode, head.decode(), body

    def test_scripts_that_run_and_that_cannot(self):
        status, head, body = self.run_engine("/hello/index.oxc")
        self.assertEqual((status, body), (0, b"Hello"))
        self.assertIn("Content-Length: 5", head)
        status, head, body = self.run_engine("/hello/index.oxc", environment={})
        self.assertEqual(status, 1)
        self.assertTrue(head.startswith("Content-Type: text/html"))
        self.assertNotIn("Content-Length", head)
        self.assertEqual(body, b"Configuration Error: Error loading configuration library: "
                               b"Unable to locate/load liboxinconfig.so<br>Please contact the "
                               b"server administrator: webmaster@localhost")
        status, _, body = self.run_engine("/no<such>.oxc")
        self.assertEqual(status, 1)
        self.assertTrue(body.startswith(b"Unable to execute 'no&lt;such&gt;.oxc': "), body)
        # Sections that are missing are reported as corruption, whatever failed.
        for name, reason in (("cut", b"Unexpected end of file while reading directory"),
                             ("corrupt", b"File is either corrupt or not a valid compiled Oxin "
                                         b"Script file")):
            self.assertEqual(self.run_engine(f"/{name}.oxc")[::2],
                             (1, f"Unable to execute '{name}.oxc': ".encode() + reason))

    def test_task_that_cannot_fork_reports_it_and_the_script_goes_on(self):
        # No processes allowed: binding for the script's owner, to whom the
        # engine changes, not for root, as which it starts.
        self.assertTrue(ROOT, "the engine must start as root to change to the script's owner")
        # The leak checker of a sanitized build needs a thread of its own at
        # the exit, which the limit forbids as well.
        no_processes = lambda: resource.setrlimit(resource.RLIMIT_NPROC, (0, 0))
        environment = dict(self.site.environment, ASAN_OPTIONS="detect_leaks=0")
        status, _, body = self.run_engine("/async.oxc", environment, no_processes)
        self.assertEqual(status, 0)
        self.assertTrue(body.startswith(b"before\n") and body.endswith(b"after\n"), body)
        self.assertIn(b"Unable to start asynchronous task", body)

    def start_engine(self, path_info, length, content_type, environment=None, body=None):
        """The engine reading a body from a pipe that the test holds open
        unless the whole body is given."""
        env = {"PATH": "/usr/bin:/bin", "PATH_INFO": path_info, "CONTENT_LENGTH": str(length),
               "CONTENT_TYPE": content_type}
        env.update(environment or self.site.environment)
        engine = subprocess.Popen([self.site.engine], env=env, cwd=self.site.root,
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if body is not None:
            engine.stdin.write(body)
            engine.stdin.close()
        return engine

    def stalled_form(self):
        engine = self.start_engine("/form/index.oxc", 100, "application/x-www-form-urlencoded")
        engine.stdin.write(b"name=x")
        engine.stdin.flush()
        return engine

    def finish(self, engine, seconds):
        """(exit status, body) of an engine that must end within seconds,
        its standard input left as it is."""
        try:
            engine.wait(timeout=seconds)
        finally:
            engine.kill()
            out = engine.stdout.read()
            engine.stdout.close()
            if not engine.stdin.closed:
                engine.stdin.close()
        return engine.returncode, out.partition(b"\r\n\r\n")[2]

    def test_stalled_body_ends_at_the_post_deadline_or_at_a_signal(self):
        engine = self.stalled_form()
        start = time.time()
        # timeout_post is 2 s, noticed at the next beat of 5 s.
        self.assertEqual(self.finish(engine, 12), (1, b"Timeout processing POST data"))
        self.assertLess(time.time() - start, 8.5)
        engine = self.stalled_form()
        time.sleep(0.5)
        engine.send_signal(signal.SIGTERM)
        start = time.time()
        self.assertEqual(self.finish(engine, 5), (1, b"Application timed out"))
        # Well before the first beat, which would only come 4.5 s later.
        self.assertLess(time.time() - start, 3)

    def test_body_longer_than_a_variable_can_hold(self):
        config = os.path.join(self.site.root, "unlimited.conf")
        Path(config).write_text(Path(self.site.config).read_text() +
                                "max_unknown_content_length = 0\n")
        environment = dict(self.site.environment, OxCONFIG_FILE=config)
        engine = self.start_engine("/request.oxc", 3_000_000_000, "text/plain", environment, b"abc")
        self.assertEqual(self.finish(engine, 10), (1, b"Out of memory"))

    def test_cut_off_upload_leaves_a_temporary_that_the_cleaner_removes(self):
        data = os.path.join(self.site.root, "data")
        body = (b"--xx\r\nContent-Disposition: form-data; name=\"one\"; filename=\"a.txt\"\r\n"
                b"Content-Type: text/plain\r\n\r\n" + b"x" * 5000)
        engine = self.start_engine("/upload/index.oxc", len(body) + 100,
                                   "multipart/form-data; boundary=xx", body=body)
        self.finish(engine, 10)
        left = [n for n in os.listdir(data) if n.startswith("OXIN_FUP.")]
        self.assertEqual(len(left), 1)
        # Beside it: a young temporary, and old files the cleaner must keep.
        for name in ("OXIN_FUP.ff", "OXIN_FUP.x1", "OXIN_FUP_1", "other"):
            open(os.path.join(data, name), "w").close()
        os.symlink(os.path.join(data, "other"), os.path.join(data, "OXIN_FUP.a0"))
        os.mkdir(os.path.join(data, "OXIN_FUP.b0"))
        hour_ago = time.time() - 3700
        for name in left + ["OXIN_FUP.x1", "OXIN_FUP_1", "OXIN_FUP.b0", "other"]:
            os.utime(os.path.join(data, name), (hour_ago, hour_ago))
        os.utime(os.path.join(data, "OXIN_FUP.a0"), (hour_ago, hour_ago), follow_symlinks=False)
        cleaner = subprocess.run([os.path.join(BUILD, "bin/oxin-clean-uploads"), "--older-than",
                                  "60", data], capture_output=True, check=True)
        self.assertEqual(cleaner.stdout.decode(), os.path.join(data, left[0]) + "\n")
        self.assertEqual(sorted(n for n in os.listdir(data) if "FUP" in n),
                         ["OXIN_FUP.a0", "OXIN_FUP.b0", "OXIN_FUP.ff", "OXIN_FUP.x1", "OXIN_FUP_1"])

    @unittest.skipUnless(ROOT, "only a process started as root changes user")
    def test_scripts_run_as_their_owner_without_the_groups_of_root(self):
        for name, mode in (("secret", 0o640), ("rootowned", 0o644)):
            path = os.path.join(self.site.root, f"scripts/{name}.oxc")
            shutil.copy(os.path.join(self.site.root, "scripts/hello/index.oxc"), path)
            os.chown(path, 0, 0)
            os.chmod(path, mode)
        status, _, body = self.run_engine("/rootowned.oxc")
        self.assertEqual((status, body), (1, b"'rootowned.oxc' is owned by root"))
        status, _, body = self.run_engine("/dosecret.oxc")
        self.assertEqual(status, 0)
        self.assertTrue(body.startswith(b"before ") and b"OxDO: Permission denied" in body, body)
        # Seen from outside while the engine waits for its body.
        engine = self.start_engine("/form/index.oxc", 100, "application/x-www-form-urlencoded")
        nobody = pwd.getpwnam("nobody")
        try:
            deadline = time.time() + 5
            while True:
                with open(f"/proc/{engine.pid}/status") as f:
                    status = dict(line.split(":", 1) for line in f.read().splitlines())
                if status["Uid"].split()[0] == str(nobody.pw_uid) or time.time() > deadline:
                    break
                time.sleep(0.05)
        finally:
            engine.kill()
            self.finish(engine, 5)
        self.assertEqual(status["Uid"].split(), [str(nobody.pw_uid)] * 4)
        self.assertEqual(status["Gid"].split(), [str(nobody.pw_gid)] * 4)
        self.assertEqual(status["Groups"].split(), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
