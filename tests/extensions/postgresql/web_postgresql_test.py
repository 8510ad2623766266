#!/usr/bin/python3
"""The PostgreSQL database library behind two lighttpd hosts that share one
database: many posts, lists and searches at once, transactions rolled back
or left open, a server stopped in the middle of a request, and bad input.
Every case runs twice: with the hosts connected to PostgreSQL directly, and
through pgbouncer in transaction mode. The page is scripts-web/entries.oxs
beside this file; PostgreSQL and pgbouncer are the test's own
(tests/support/postgres_server.py).

Usage: web_postgresql_test.py BUILD_DIR SOURCE_DIR [unittest arguments]
"""
import html
import os
import pwd
import random
import re
import shutil
import subprocess
import sys
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
from concurrent.futures import ThreadPoolExecutor

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "host"))
sys.path.insert(0, os.path.join(HERE, "..", "..", "support"))
import web_server_test as host  # noqa: E402  (reads BUILD_DIR and SOURCE_DIR itself)
from postgres_server import PostgresServer, free_port  # noqa: E402

SCRIPT = os.path.join(HERE, "scripts-web", "entries.oxs")
LIBRARY = os.path.join(host.BUILD, "lib", "liboxinpostgresql.so")
WRITERS, READERS = 8, 3
# 800 entries in all, half of them directly, half through pgbouncer: enough
# for every writer to meet the readers and the others many times over. A
# sanitized engine runs several times slower: fewer entries there.
SANITIZED = re.search(r"OXIN_(SANITIZE|TSAN):BOOL=ON",
                      open(os.path.join(host.BUILD, "CMakeCache.txt")).read())
ENTRIES = 120 if SANITIZED else 400
LOCK_HOST = "pgtest"
# A connection that could not be made, or that was lost: the server's
# shutdown (57P01), libpq's lost connection (08006) or pgbouncer's own.
LOST = re.compile(r"^opened\nerror: (08\d\d\d|57P01): \S")
TABLE = """CREATE TABLE entries (id bigserial PRIMARY KEY, author varchar(40),
                                 text varchar(200), host text)"""


class Site(host.Site):
    """A site whose page reaches PostgreSQL by the connection string given."""

    def __init__(self, conninfo):
        self.CONFIG = f"""dir_oxin = {{root}}/scripts
dir_data = {{root}}/data
dir_temp = {{root}}/temp
timeout_global = 60
delay_file = 20
lock_hostname = {LOCK_HOST}
library builtin {{build}}/lib/liboxinhtml.so
library database postgresql {{build}}/lib/liboxinpostgresql.so
system postgresql_connection = {conninfo.replace("{", "{{").replace("}", "}}")}
"""
        super().__init__()
        target = os.path.join(self.root, "scripts", "entries.oxc")
        subprocess.run([os.path.join(host.BUILD, "bin/oxin-asm"), SCRIPT, target], check=True)
        if host.ROOT:
            nobody = pwd.getpwnam("nobody")
            os.chown(target, nobody.pw_uid, nobody.pw_gid)
        self.data = os.path.join(self.root, "data")


def text_of(n):
    """The unique text of entry n, with the characters a page must encode."""
    return f"entry {n:05d} <b>&\"'"


def author_of(n):
    return f"w{n % WRITERS}"


def rows(body):
    """The (id, author, text, host) rows of a list or search page, or None
    when the page does not end in "end"."""
    *lines, last = body.split("\n")
    if last != "end":
        return None
    found = [line.split("\t") for line in lines]
    if any(len(row) != 4 for row in found):
        return None
    return [(int(i), html.unescape(a), html.unescape(t), html.unescape(h)) for i, a, t, h in found]


class PostgresWebTests:
    """The cases, for a class that sets bouncer. They run in name order:
    the later ones find the table that the first filled."""

    bouncer = False

    @classmethod
    def setUpClass(cls):
        missing = [p for p, tool in (("lighttpd", "lighttpd"), ("curl", "curl"))
                   if not shutil.which(tool)]
        if missing:
            raise RuntimeError("missing Debian packages: " + " ".join(missing))
        if not os.path.exists(LIBRARY):
            raise RuntimeError(f"{LIBRARY} is missing: build the target oxinpostgresql "
                               "(it needs the Debian package libpq-dev)")
        cls.sites, cls.webs = [], []
        cls.server = PostgresServer()
        try:
            cls.server.start(bouncer=cls.bouncer)
            cls.server.psql(TABLE)
            conninfo = cls.server.bouncer_conninfo if cls.bouncer else cls.server.conninfo
            wrong = conninfo.replace("password=", "password=wrong")
            refused = f"host=127.0.0.1 port={free_port()} dbname=oxin user=oxin password=x"
            # Two hosts of the site, then one with a wrong password and one
            # whose server does not exist.
            for text in (conninfo, conninfo, wrong, refused):
                cls.sites.append(Site(text))
                cls.webs.append(host.Lighttpd(cls.sites[-1]))
        except BaseException:
            cls.tearDownClass()
            raise
        cls.ports = [web.port for web in cls.webs[:2]]

    @classmethod
    def tearDownClass(cls):
        for web in cls.webs:
            web.stop()
        # The engine's standard error goes to the server's log: a sanitizer
        # report there fails the run even when the pages looked right.
        reports = []
        for site in cls.sites:
            logs = [os.path.join(site.root, "logs", n) for n in os.listdir(
                os.path.join(site.root, "logs"))]
            logs += [os.path.join(site.root, n) for n in os.listdir(site.root)
                     if n.endswith(".out")]
            for name in logs:
                with open(name, errors="replace") as log:
                    reports += [line for line in log
                                if "Sanitizer" in line or "runtime error:" in line]
            site.remove()
        cls.server.stop()
        assert not reports, "".join(reports[:20])

    def setUp(self):
        self.problems = []

    def page(self, port, timeout=60, **form):
        """The body of the page on the host of that port, the form sent as a
        POST; a status other than 200 is a problem."""
        url = f"http://127.0.0.1:{port}/cgi-bin/oxin/entries.oxc"
        try:
            with urllib.request.urlopen(url, urllib.parse.urlencode(form).encode(),
                                        timeout=timeout) as answer:
                return answer.read().decode("utf-8")
        except urllib.error.HTTPError as error:
            self.problems.append(f"{form}: status {error.code}")
            return ""

    def sql(self, query):
        return self.server.psql(query).splitlines()

    # a. Writers on both hosts while others list and search

    def post(self, writer, ids):
        """Posts the writer's entries, alternating hosts, by dbadd for even
        writers and by a parameterized command for odd ones; the ids that
        dbadd reported go to ids."""
        command = writer % 2 == 1
        for n in range(writer, ENTRIES, WRITERS):
            form = dict(action="post", author=author_of(n), text=text_of(n))
            if command:
                form["via"] = "command"
            answer = self.page(self.ports[n % 2], **form)
            if command and answer != "ok" or not command and not re.fullmatch(r"ok \d+", answer):
                self.problems.append(f"post {n}: {answer!r}")
            elif not command:
                ids[n] = int(answer.split()[1])

    def read(self, stop):
        """Lists and searches on both hosts until stop is set, with a pause
        between rounds that leaves most of the machine to the writers; how
        often."""
        count = 0
        while not stop.wait(0.3 if count else 0) or count == 0:
            port = self.ports[count % 2]
            listed = rows(self.page(port, action="list"))
            if listed is None:
                self.problems.append("a list that does not end in end")
            else:
                ids = [row[0] for row in listed]
                texts = [row[2] for row in listed]
                if ids != sorted(set(ids)) or len(set(texts)) != len(texts):
                    self.problems.append(f"list out of order or doubled: {ids[:20]}")
                if any(author_of(int(t[6:11])) != a for _, a, t, _ in listed):
                    self.problems.append("an author beside another's text")
            q = f"w{random.randrange(WRITERS)}"
            found = rows(self.page(port, action="search", q=q))
            if found is None or any(row[1] != q for row in found) or \
                    [r[0] for r in found] != sorted({r[0] for r in found}):
                self.problems.append(f"search {q}: {found and found[:5]}")
            count += 1
        return count

    def test_a_posts_on_two_hosts_while_others_list_and_search(self):
        ids, stop = {}, threading.Event()
        with ThreadPoolExecutor(WRITERS + READERS) as pool:
            readers = [pool.submit(self.read, stop) for _ in range(READERS)]
            for writer in [pool.submit(self.post, w, ids) for w in range(WRITERS)]:
                writer.result()
            stop.set()
            reads = [reader.result() for reader in readers]
        self.assertEqual(self.problems[:10], [])
        self.assertGreater(min(reads), 2, "the readers hardly ran beside the writers")
        # Every entry once, by the host it was posted to, under the id that
        # dbadd reported.
        stored = [line.split("|") for line in self.sql(
            "SELECT id, author, text, host FROM entries ORDER BY id")]
        self.assertEqual(sorted(t for _, _, t, _ in stored), sorted(map(text_of, range(ENTRIES))))
        by_text = {t: (int(i), a, h) for i, a, t, h in stored}
        for n in range(ENTRIES):
            number, author, port = by_text[text_of(n)]
            self.assertEqual((author, port), (author_of(n), str(self.ports[n % 2])), n)
            if n in ids:
                self.assertEqual(number, ids[n], n)
        self.assertEqual(len(ids), ENTRIES // 2)
        # Both hosts list them all, encoded and back, in id order.
        for port in self.ports:
            listed = rows(self.page(port, action="list"))
            self.assertEqual([(int(i), a, t, h) for i, a, t, h in stored], listed)
        # A search by a visitor's text: the parameter is never part of the SQL.
        found = rows(self.page(self.ports[0], action="search", q="w1"))
        self.assertEqual(len(found), ENTRIES // WRITERS)
        self.assertEqual(rows(self.page(self.ports[1], action="search", q="w1' OR 'a'='a")), [])

    # b. Transactions

    def test_b_transactions_rolled_back_or_left_open_leave_nothing(self):
        self.assertEqual(self.page(self.ports[0], action="rollback", author="rb",
                                   text="rolled back"), "inside 2\nafter 0")
        self.assertEqual(self.page(self.ports[1], action="abandon", author="rb",
                                   text="left open"), "added, not committed")
        self.assertEqual(self.sql("SELECT count(*) FROM entries WHERE author = 'rb'"), ["0"])
        # The connection that the open transaction ended is no harm to the next.
        self.assertRegex(self.page(self.ports[1], action="post", author="rb", text="kept"),
                         r"^ok \d+$")
        self.assertEqual(self.sql("SELECT text FROM entries WHERE author = 'rb'"), ["kept"])
        self.assertEqual(self.problems, [])

    # c. The server stopped while a request holds its connection

    def test_c_server_stopped_in_a_request_gives_the_error_quickly(self):
        site = self.sites[0]
        gate = os.path.join(site.data, "gate.lck")
        with open(gate, "w") as f:  # a lock held by this live process
            f.write(f"{os.getpid()}!0:{LOCK_HOST}")
        try:
            with ThreadPoolExecutor(1) as pool:
                waiting = pool.submit(self.page, self.ports[0], 30, action="wait")
                # The page is past its dbopen once it waits for the lock.
                deadline = time.time() + 15
                while not any(n.startswith("gate.lck.") for n in os.listdir(site.data)):
                    self.assertLess(time.time(), deadline, "the page never came to the lock")
                    self.assertFalse(waiting.done(), waiting.done() and waiting.result())
                    time.sleep(0.02)
                self.server.stop_postgres()
                os.remove(gate)
                start = time.time()
                body = waiting.result()
                took = time.time() - start
            self.assertRegex(body, LOST)
            self.assertLess(took, 8 if self.bouncer else 3, body)
            # A request that comes while the server is down fails quickly too.
            start = time.time()
            body = self.page(self.ports[1], action="list")
            self.assertRegex(body, r"^error: 08\d\d\d: \S")
            self.assertLess(time.time() - start, 8 if self.bouncer else 3, body)
        finally:
            if os.path.exists(gate):
                os.remove(gate)
            self.server.start_postgres()
        # Served again once the server is back (pgbouncer retries its
        # login after a second).
        deadline = time.time() + 10
        while not (answer := self.page(self.ports[1], action="post", author="c",
                                       text="after the restart")).startswith("ok"):
            self.assertLess(time.time(), deadline, answer)
            time.sleep(0.2)
        self.assertEqual(self.sql("SELECT count(*) FROM entries WHERE author = 'c'"), ["1"])
        self.assertEqual(self.problems, [])

    # d. Bad input

    def test_d_bad_input_gives_the_errors_of_postgresql_and_libpq(self):
        for via in ("", "command"):
            body = self.page(self.ports[0], action="post", via=via, author="x" * 41, text="long")
            self.assertRegex(html.unescape(body),
                             r"^error: 22001: value too long for type character varying\(40\)")
        self.assertEqual(self.sql("SELECT count(*) FROM entries WHERE text = 'long'"), ["0"])
        wrong, refused = self.webs[2].port, self.webs[3].port
        body = html.unescape(self.page(wrong, action="list"))
        self.assertRegex(body, r"^error: 08001: .*authentication failed")
        self.assertNotIn("password=", body)
        start = time.time()
        body = html.unescape(self.page(refused, action="search", q="w1"))
        self.assertRegex(body, r"^error: 08001: .*Connection refused")
        self.assertLess(time.time() - start, 3)
        self.assertEqual(self.problems, [])


class DirectTests(PostgresWebTests, unittest.TestCase):
    bouncer = False


class BouncerTests(PostgresWebTests, unittest.TestCase):
    bouncer = True


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
