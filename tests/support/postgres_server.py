#!/usr/bin/python3
"""A PostgreSQL 15 server of a test's own, and optionally a pgbouncer in
front of it, in a directory of their own.

As a module:

    with PostgresServer() as server:          # or server.start(bouncer=True)
        server.psql("CREATE TABLE t (id int primary key)")
        connect(server.conninfo)               # TCP on 127.0.0.1, by password
        connect(server.socket_conninfo)        # the Unix socket, trusted
        connect(server.bouncer_conninfo)       # pgbouncer, pool_mode=transaction
        server.stop_postgres(); server.start_postgres()   # the server alone

As a command line:

    postgres_server.py start DIR [--bouncer] [--owner PID]   prints KEY=VALUE lines
    postgres_server.py stop DIR          stops all that start began in DIR

With --owner, a watcher left behind stops everything when the process PID
ends without calling stop (a test program that crashed or was killed).

The cluster has the superuser oxin with a fixed password (scram-sha-256 on
TCP, trust on the socket) and a database oxin; fsync is off. Run as root,
the servers run as the user postgres (or nobody), since PostgreSQL refuses
to run as root. A missing program is an error naming its Debian package.
"""
import atexit
import os
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

BIN = "/usr/lib/postgresql/15/bin"
PGBOUNCER = "/usr/sbin/pgbouncer"
PSQL = f"{BIN}/psql"
USER = "oxin"
PASSWORD = "oxin-test-Pa55"
# What start leaves in its directory; stop removes these and nothing else.
ENTRIES = ("data", "run", "bouncer", "postgres.log", "pwfile")


def require(path, package):
    if not os.access(path, os.X_OK):
        raise RuntimeError(f"{path} is missing: install the Debian package {package}")


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def server_user():
    """The account the servers run as: None when not root."""
    if os.geteuid() != 0:
        return None
    for name in ("postgres", "nobody"):
        try:
            return pwd.getpwnam(name)
        except KeyError:
            pass
    raise RuntimeError("no user postgres or nobody to run PostgreSQL as")


def as_user(user, command):
    return ["runuser", "-u", user.pw_name, "--"] + command if user else command


def give(user, path):
    if user:
        os.chown(path, user.pw_uid, user.pw_gid)


def run(command, what, **options):
    """Runs command with no standard input; its output, or an error with it."""
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                            **options)
    if result.returncode != 0:
        raise RuntimeError(f"{what} failed ({result.returncode}): {result.stdout}{result.stderr}")
    return result.stdout


def conninfo(host, port, database, password=True):
    text = f"host={host} port={port} dbname={database} user={USER}"
    return text + f" password={PASSWORD}" if password else text


class PostgresServer:
    def __init__(self, directory=None):
        """The server's files go to directory, or to a fresh temporary one
        that stop removes whole."""
        self.owned = directory is None
        self.directory = os.path.abspath(directory or tempfile.mkdtemp(prefix="oxin-pg-"))
        self.data = os.path.join(self.directory, "data")
        self.socket_dir = os.path.join(self.directory, "run")
        self.bouncer_dir = os.path.join(self.directory, "bouncer")
        self.log = os.path.join(self.directory, "postgres.log")
        self.user = server_user()
        self.port = self.bouncer_port = None
        self.conninfo = self.socket_conninfo = self.bouncer_conninfo = None
        self.postgres_running = self.bouncer_running = False

    # The life of the whole

    def start(self, bouncer=False):
        require(f"{BIN}/initdb", "postgresql-15")
        require(PSQL, "postgresql-15")
        if bouncer:
            require(PGBOUNCER, "pgbouncer")
        atexit.register(self.stop)
        try:
            self._initdb()
            self.start_postgres()
            self.psql(f"CREATE DATABASE {USER}", database="postgres")
            if bouncer:
                self._start_bouncer()
        except BaseException:
            self.stop()
            raise
        return self

    def stop(self):
        """Stops pgbouncer and PostgreSQL and removes their files; safe to
        call more than once."""
        atexit.unregister(self.stop)
        stop_bouncer(self.bouncer_dir)
        self.bouncer_running = False
        try:
            if os.path.isdir(self.data):
                self.stop_postgres()
        finally:
            remove(self.directory, self.owned)

    def __enter__(self):
        return self if self.postgres_running else self.start()

    def __exit__(self, *exception):
        self.stop()

    # PostgreSQL alone

    def _initdb(self):
        os.makedirs(self.directory, exist_ok=True)
        os.chmod(self.directory, 0o755)  # the servers and the tests' scripts pass through
        if self.user and subprocess.run(as_user(self.user, ["test", "-x", self.directory])).returncode:
            raise RuntimeError(f"{self.directory} cannot be reached by the user "
                               f"{self.user.pw_name}: a directory above it is closed to others")
        for path in (self.data, self.socket_dir):
            os.mkdir(path, 0o700 if path == self.data else 0o755)
            give(self.user, path)
        pwfile = os.path.join(self.directory, "pwfile")
        with open(pwfile, "w") as f:
            f.write(PASSWORD + "\n")
        give(self.user, pwfile)
        try:
            run(as_user(self.user, [f"{BIN}/initdb", "-D", self.data, "-U", USER,
                                    "--pwfile", pwfile, "--auth-host=scram-sha-256",
                                    "--auth-local=trust", "-E", "UTF8", "--locale=C.UTF-8",
                                    "--no-sync"]), "initdb", cwd=self.directory)
        finally:
            os.remove(pwfile)
        self.port = free_port()
        with open(os.path.join(self.data, "postgresql.conf"), "a") as f:
            f.write(f"""
listen_addresses = '127.0.0.1'
port = {self.port}
unix_socket_directories = '{self.socket_dir}'
unix_socket_permissions = 0777
max_connections = 200
fsync = off
synchronous_commit = off
full_page_writes = off
""")
        with open(os.path.join(self.data, "pg_hba.conf"), "w") as f:
            f.write("local all all trust\nhost all all 127.0.0.1/32 scram-sha-256\n")
        self.conninfo = conninfo("127.0.0.1", self.port, USER)
        self.socket_conninfo = conninfo(self.socket_dir, self.port, USER, password=False)

    def start_postgres(self):
        if not os.path.exists(self.log):
            open(self.log, "w").close()
            give(self.user, self.log)
        run(as_user(self.user, [f"{BIN}/pg_ctl", "-D", self.data, "-l", self.log, "-w", "-t", "60",
                                "start"]), "pg_ctl start", cwd=self.directory)
        self.postgres_running = True

    def stop_postgres(self, mode="fast"):
        """Stops the server alone (mode: smart, fast or immediate); pgbouncer,
        if any, goes on and finds no server."""
        if os.path.exists(os.path.join(self.data, "postmaster.pid")):
            run(as_user(self.user, [f"{BIN}/pg_ctl", "-D", self.data, "-m", mode, "-w", "-t",
                                    "60", "stop"]), "pg_ctl stop", cwd=self.directory)
        self.postgres_running = False

    # pgbouncer

    def _start_bouncer(self):
        os.mkdir(self.bouncer_dir, 0o755)
        give(self.user, self.bouncer_dir)
        self.bouncer_port = free_port()
        path = lambda name: os.path.join(self.bouncer_dir, name)
        with open(path("userlist.txt"), "w") as f:
            f.write(f'"{USER}" "{PASSWORD}"\n')
        with open(path("pgbouncer.ini"), "w") as f:
            f.write(f"""[databases]
* = host=127.0.0.1 port={self.port}

[pgbouncer]
listen_addr = 127.0.0.1
listen_port = {self.bouncer_port}
unix_socket_dir =
auth_type = scram-sha-256
auth_file = {path("userlist.txt")}
pool_mode = transaction
max_client_conn = 500
default_pool_size = 40
server_connect_timeout = 5
server_login_retry = 1
query_wait_timeout = 5
logfile = {path("pgbouncer.log")}
pidfile = {path("pgbouncer.pid")}
ignore_startup_parameters = extra_float_digits,options
""")
        for name in ("userlist.txt", "pgbouncer.ini"):
            os.chmod(path(name), 0o600)
            give(self.user, path(name))
        run(as_user(self.user, [PGBOUNCER, "-d", "-q", path("pgbouncer.ini")]), "pgbouncer",
            cwd=self.bouncer_dir)
        deadline = time.time() + 10
        while not accepts(self.bouncer_port):
            if time.time() > deadline:
                log = open(path("pgbouncer.log"), errors="replace").read()
                raise RuntimeError(f"pgbouncer does not accept on port {self.bouncer_port}: {log}")
            time.sleep(0.05)
        self.bouncer_conninfo = conninfo("127.0.0.1", self.bouncer_port, USER)
        self.bouncer_running = True

    # SQL

    def psql(self, sql, database=USER):
        """Runs sql (one or more statements) through the socket as oxin,
        stopping at the first error; psql's output, unaligned, without
        headers. A failure raises an error with psql's text."""
        return run([PSQL, "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", self.socket_dir,
                    "-p", str(self.port), "-U", USER, "-d", database, "-c", sql],
                   f"psql {sql[:80]!r}")


def accepts(port):
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=0.2):
            return True
    except OSError:
        return False


def stop_bouncer(bouncer_dir):
    pidfile = os.path.join(bouncer_dir, "pgbouncer.pid")
    try:
        with open(pidfile) as f:
            pid = int(f.read().strip())
    except (OSError, ValueError):
        return
    try:
        os.kill(pid, signal.SIGTERM)
        deadline = time.time() + 5
        while time.time() < deadline and running(pid):
            time.sleep(0.02)
        if running(pid):
            os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def running(pid):
    """Whether pid is a process that has not ended (an ended one may wait,
    a zombie, for whoever adopted it to reap it)."""
    try:
        with open(f"/proc/{pid}/stat") as f:
            return f.read().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


def remove(directory, whole):
    if whole:
        shutil.rmtree(directory, ignore_errors=True)
        return
    for name in ENTRIES:
        path = os.path.join(directory, name)
        if os.path.isdir(path):
            shutil.rmtree(path, ignore_errors=True)
        elif os.path.exists(path):
            os.remove(path)
    try:
        os.rmdir(directory)  # only when nothing else is in it
    except OSError:
        pass


def watch(server, owner):
    """Forks a watcher, detached from this command's output, that stops the
    servers when owner ends while they still run; it ends by itself once
    they were stopped."""
    if os.fork() != 0:
        return
    os.setsid()
    null = os.open(os.devnull, os.O_RDWR)
    for fd in (0, 1, 2):
        os.dup2(null, fd)
    try:
        while os.path.isdir(server.data) and running(owner):
            time.sleep(0.5)
        if os.path.isdir(server.data):
            server.stop()
    finally:
        os._exit(0)


def main(arguments):
    command, options = arguments[:2], arguments[2:]
    bouncer = "--bouncer" in options
    owner = options[options.index("--owner") + 1] if "--owner" in options[:-1] else None
    if len(command) < 2 or command[0] not in ("start", "stop") or \
            len(options) != bouncer + 2 * (owner is not None) or \
            owner is not None and not owner.isdigit() or command[0] == "stop" and options:
        sys.stderr.write("usage: postgres_server.py start DIR [--bouncer] [--owner PID] | "
                         "stop DIR\n")
        return 2
    server = PostgresServer(command[1])
    if command[0] == "stop":
        server.stop()
        return 0
    try:
        server.start(bouncer=bouncer)
    except RuntimeError as error:
        sys.stderr.write(f"{error}\n")
        return 1
    # The servers outlive this command: stop DIR ends them.
    atexit.unregister(server.stop)
    if owner is not None:
        sys.stdout.flush()
        watch(server, int(owner))
    print(f"CONNINFO={server.conninfo}")
    print(f"SOCKET_CONNINFO={server.socket_conninfo}")
    print(f"BOUNCER_CONNINFO={server.bouncer_conninfo or ''}")
    print(f"PORT={server.port}")
    print(f"BOUNCER_PORT={server.bouncer_port or ''}")
    print(f"SOCKET_DIR={server.socket_dir}")
    print(f"USER={USER}")
    print(f"PASSWORD={PASSWORD}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
