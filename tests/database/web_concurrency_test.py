#!/usr/bin/python3
"""One table shared by many requests at once through lighttpd: clients that
append, list and search together, then packs while others read and write.
The scripts are in scripts-web/ beside this file.

Usage: web_concurrency_test.py BUILD_DIR SOURCE_DIR [unittest arguments]
"""
import os
import pwd
import random
import re
import shutil
import subprocess
import sys
import threading
import unittest
import urllib.error
import urllib.parse
import urllib.request
from concurrent.futures import ThreadPoolExecutor

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "host"))
import web_server_test as host  # noqa: E402  (reads BUILD_DIR and SOURCE_DIR itself)

SCRIPTS = os.path.join(host.SOURCE, "tests/database/scripts-web")
WRITERS, PACKS = 8, 6
# A sanitized engine runs several times slower: fewer entries there.
SANITIZED = "OXIN_SANITIZE:BOOL=ON" in open(os.path.join(host.BUILD, "CMakeCache.txt")).read()
ENTRIES, LATE = (250, 200) if SANITIZED else (1000, 400)
ROW = re.compile(r"(\d+) n(\d{5})")
# The only failure texts a request may meet: a lock the system refused.
ALLOWED = ("Error locking '",)


class Site(host.Site):
    # Requests wait for each other's locks, a pack's for a while: waits are
    # not what is tested here.
    CONFIG = host.Site.CONFIG.replace("timeout_global = 2\n", "timeout_global = 30\n")
    assert CONFIG != host.Site.CONFIG


def name(entry):
    return f"n{entry:05d}"


def rows(body, problems, what):
    """The (id, name) rows of a listing that ends in "end..." or in an
    allowed error; a problem is noted for anything else."""
    *lines, last = body.split("\n")
    found = [ROW.fullmatch(line) for line in lines]
    if not all(found) or not (last.startswith("end") or
                              last.startswith(tuple("error: " + a for a in ALLOWED))):
        problems.append(f"{what}: {body[-300:]!r}")
        return []
    pairs = [(int(m[1]), int(m[2])) for m in found]
    if any(i != n for i, n in pairs):
        problems.append(f"{what}: an id beside another's name: {body[-300:]!r}")
    return [i for i, _ in pairs]


class WebConcurrencyTests(unittest.TestCase):
    """The tests run in order: the packs work on what the writers left."""

    @classmethod
    def setUpClass(cls):
        missing = [] if shutil.which("lighttpd") else ["lighttpd"]
        try:
            import dbfread  # noqa: F401
        except ImportError:
            missing.append("python3-dbfread")
        if missing:
            raise RuntimeError("missing Debian packages: " + " ".join(missing))
        cls.site = Site()
        for script in sorted(os.listdir(SCRIPTS)):
            target = os.path.join(cls.site.root, "scripts", script[:-4] + ".oxc")
            subprocess.run([os.path.join(host.BUILD, "bin/oxin-asm"),
                            os.path.join(SCRIPTS, script), target], check=True)
            if host.ROOT:
                os.chown(target, pwd.getpwnam("nobody").pw_uid, pwd.getpwnam("nobody").pw_gid)
        cls.web = host.Lighttpd(cls.site)
        cls.data = os.path.join(cls.site.root, "data")

    @classmethod
    def tearDownClass(cls):
        # Stops the server, and fails on a sanitizer's report in its logs.
        host.ServerTests.tearDownClass.__func__(cls)

    def request(self, script, **form):
        """The body of a page, with a problem noted for a status other than 200."""
        url = f"http://127.0.0.1:{self.web.port}/cgi-bin/oxin/{script}.oxc"
        data = urllib.parse.urlencode(form).encode() if form else None
        try:
            with urllib.request.urlopen(url, data, timeout=60) as answer:
                return answer.read().decode("latin-1")
        except urllib.error.HTTPError as error:
            self.problems.append(f"{script} {form}: status {error.code}")
            return ""

    def post(self, entries):
        for entry in entries:
            answer = self.request("post", id=entry, name=name(entry))
            if answer != "ok":
                self.problems.append(f"post {entry}: {answer!r}")

    def read(self, stop):
        """Lists and searches until stop is set; returns how many it did."""
        count = 0
        while not stop.is_set() or count == 0:
            ids = rows(self.request("list"), self.problems, "list")
            if ids != sorted(set(ids)):
                self.problems.append(f"list out of id order: {ids[:50]}")
            prefix = f"n{random.randrange(0, 25):03d}"
            ids = rows(self.request("search", prefix=prefix), self.problems, "search " + prefix)
            names = [name(i) for i in ids]
            if names != sorted(set(names)) or names[:1] and not names[0].startswith(prefix):
                self.problems.append(f"search {prefix}: {names}")
            count += 1
        return count

    def pack(self, stop):
        """Packs PACKS times, or fewer when stop is set first; returns how
        often."""
        for count in range(PACKS):
            if stop.is_set():
                return count
            answer = self.request("pack")
            if answer != "ok":
                self.problems.append(f"pack: {answer!r}")
        return PACKS

    def run_together(self, writers, *others):
        """Runs the writers' lists of entries and the other calls at once:
        these run until the writers have ended, and their counts are
        returned."""
        stop = threading.Event()
        with ThreadPoolExecutor(len(writers) + len(others)) as pool:
            counts = [pool.submit(other, stop) for other in others]
            for done in [pool.submit(self.post, w) for w in writers]:
                done.result()
            stop.set()
            return [count.result() for count in counts]

    def table(self):
        """The ids of the table's live records, read with dbfread."""
        import dbfread
        table = dbfread.DBF(os.path.join(self.data, "people.dbf"), load=True)
        self.assertEqual(table.deleted, [])
        for record in table.records:
            self.assertEqual(record["NAME"], name(int(record["ID"])))
        return sorted(int(record["ID"]) for record in table.records)

    def assert_consistent(self):
        checked = subprocess.run([os.path.join(host.BUILD, "bin/oxin-dbf"), "--no-records",
                                  "people.dbf", "names.qtx", "ids.qtx"],
                                 cwd=self.data, capture_output=True, text=True)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertEqual(checked.stdout.count("consistent"), 2, checked.stdout)

    def setUp(self):
        self.problems = []

    def test_1_appends_while_others_list_and_search(self):
        self.assertEqual(self.request("setup"), "ok")
        writers = [range(w + 1, ENTRIES + 1, WRITERS) for w in range(WRITERS)]
        reads = self.run_together(writers, *[self.read] * 3)
        self.assertEqual(self.problems[:10], [])
        self.assertGreater(min(reads), 3, "the readers hardly ran beside the writers")
        self.assertEqual(self.table(), list(range(1, ENTRIES + 1)))
        self.assert_consistent()

    def test_2_packs_while_others_read_and_write(self):
        deleted = set(range(5, ENTRIES + 1, 10))
        with ThreadPoolExecutor(4) as pool:
            answers = list(pool.map(lambda e: self.request("delete", id=e), sorted(deleted)))
        self.assertEqual(set(answers), {"ok"})
        writers = [range(ENTRIES + w + 1, ENTRIES + LATE + 1, 4) for w in range(4)]
        counts = self.run_together(writers, self.read, self.read, self.pack, self.pack)
        self.assertEqual(self.problems[:10], [])
        self.assertGreater(min(counts), 3, "the packs hardly ran beside the others")
        self.assertEqual(self.table(), sorted(set(range(1, ENTRIES + LATE + 1)) - deleted))
        self.assert_consistent()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
