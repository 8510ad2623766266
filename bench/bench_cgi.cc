// The hello page as a whole CGI process, start to exit: the engine against a
// minimal C program and Debian's php-cgi printing the same page, each run
// directly many times (time per request and peak memory), then each served
// by lighttpd under load from wrk (requests per second). Prints the ratios
// engine/other. Then a page that finds one record by key among 100,000 and
// prints it: the engine through its table and index against php-cgi with
// its SQLite3 class on an indexed table of the same rows; and the same page
// through the PostgreSQL database library against a server of the bench's
// own (directly and through pgbouncer in transaction mode) beside php-cgi
// with pg_connect and pg_query_params on the same server. Needs cc,
// php-cgi (with php8.2-sqlite3 and php8.2-pgsql for the finds), lighttpd
// and wrk on the PATH, and PostgreSQL 15 and pgbouncer for their columns.
// Usage: bench_cgi [BUILD_DIR [--hello]] (default: the directory above this
// program's own); --hello runs the hello page alone.
#include <pwd.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "application/NullOutput.h"
#include "tests/support/ScriptRun.h"

namespace {

constexpr int kRuns = 300;

std::string run_output(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        size_t n;
        while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
            out.append(buffer, n);
        pclose(pipe);
    }
    return out;
}

void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// A site with the three programs in cgi-bin.
struct Site {
    std::string root;
    std::string cgi;
    bool c_ok = false;
    bool php_ok = false;

    explicit Site(const std::string& build) {
        char pattern[] = "/tmp/oxin-bench-XXXXXX";
        root = mkdtemp(pattern);
        chmod(root.c_str(), 0755);
        cgi = root + "/cgi-bin";
        for (const char* dir : {"/cgi-bin", "/scripts", "/scripts/hello", "/data", "/logs"})
            mkdir((root + dir).c_str(), 0777);
        chmod((root + "/logs").c_str(), 0777);
        system(("cp " + build + "/bin/oxin " + build + "/lib/liboxinconfig.so " + cgi).c_str());
        write_file(cgi + "/oxin.conf",
                   "dir_oxin = " + root + "/scripts\ndir_data = " + root + "/data\n");
        write_file(root + "/hello.oxs", ".segment 0\n    pushc \"Hello\"\n    out\n.end\n");
        system((build + "/bin/oxin-asm " + root + "/hello.oxs " + root + "/scripts/hello/index.oxc")
                   .c_str());
        write_file(root + "/hello.c",
                   "#include <stdio.h>\nint main(void) {\n"
                   "    fputs(\"Content-Type: text/html\\r\\nContent-Length: 5\\r\\n\\r\\nHello\","
                   " stdout);\n    return 0;\n}\n");
        c_ok =
            system(("cc -O2 -o " + cgi + "/hello-c " + root + "/hello.c 2>/dev/null").c_str()) == 0;
        write_file(cgi + "/hello.php", "<?php echo \"Hello\";\n");
        php_ok = system("command -v php-cgi >/dev/null") == 0;
        if (geteuid() == 0) {
            passwd* nobody = getpwnam("nobody");
            if (nobody) {
                chown((root + "/scripts/hello/index.oxc").c_str(), nobody->pw_uid, 0);
                chown((root + "/data").c_str(), nobody->pw_uid, 0);
            }
        }
    }
    ~Site() { system(("rm -rf " + root).c_str()); }
};

// Peak is the largest resident size of any run. Where the program's pages
// land in memory changes from run to run, and with it how much of a
// mapped file the kernel maps around each fault: the median says what a
// typical request takes.
struct Measure {
    double ms_per_request = -1;
    long peak_kb = -1;
    std::vector<long> resident_kb;

    long median_kb() const {
        if (resident_kb.empty()) return -1;
        std::vector<long> sorted = resident_kb;
        std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
        return sorted[sorted.size() / 2];
    }
};

// Runs argv once in directory with environment and the entry varied if
// any; the wall time in milliseconds, with the largest resident size so far
// in measure, or -1 if it failed.
double run_once(const std::string& directory, const std::vector<std::string>& argv,
                const std::vector<std::string>& environment, const std::string& varied,
                Measure* measure) {
    auto start = std::chrono::steady_clock::now();
    fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        if (chdir(directory.c_str()) != 0) _exit(127);
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "r", stdin);
        std::vector<char*> args, env;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        for (const std::string& e : environment)
            env.push_back(const_cast<char*>(e.c_str()));
        if (!varied.empty()) env.push_back(const_cast<char*>(varied.c_str()));
        env.push_back(nullptr);
        execve(args[0], args.data(), env.data());
        _exit(127);
    }
    int status;
    rusage usage;
    wait4(child, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    if (usage.ru_maxrss > measure->peak_kb) measure->peak_kb = usage.ru_maxrss;
    measure->resident_kb.push_back(usage.ru_maxrss);
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

// Runs argv in directory kRuns times with environment, and with the entry
// that vary gives for the run's number if there is one; wall time and the
// largest resident size of any run.
Measure run_many(const std::string& directory, const std::vector<std::string>& argv,
                 const std::vector<std::string>& environment,
                 const std::function<std::string(int)>& vary = nullptr) {
    Measure measure;
    double total = 0;
    for (int i = 0; i < kRuns; i++) {
        double ms = run_once(directory, argv, environment, vary ? vary(i) : "", &measure);
        if (ms < 0) return Measure();
        total += ms;
    }
    measure.ms_per_request = total / kRuns;
    return measure;
}

// A program to time among others: its command line and environment.
struct Side {
    std::vector<std::string> argv;
    std::vector<std::string> environment;
    bool enabled = true;
};

// Runs the sides in turn, one run of each per round for kRuns rounds, so
// that all of them meet the same load of a shared machine; a side that
// fails once is dropped.
std::vector<Measure> run_interleaved(const std::string& directory, const std::vector<Side>& sides,
                                     const std::function<std::string(int)>& vary) {
    std::vector<Measure> measures(sides.size());
    std::vector<double> totals(sides.size(), 0);
    std::vector<bool> failed(sides.size(), false);
    for (size_t s = 0; s < sides.size(); s++)
        failed[s] = !sides[s].enabled;
    for (int i = 0; i < kRuns; i++)
        for (size_t s = 0; s < sides.size(); s++) {
            if (failed[s]) continue;
            double ms = run_once(directory, sides[s].argv, sides[s].environment, vary(i),
                                 &measures[s]);
            if (ms < 0) failed[s] = true;
            totals[s] += ms;
        }
    for (size_t s = 0; s < sides.size(); s++) {
        if (failed[s]) {
            measures[s] = Measure();
        } else {
            measures[s].ms_per_request = totals[s] / kRuns;
        }
    }
    return measures;
}

// Requests per second that wrk gets from lighttpd for each path, or -1.
std::vector<double> served(const Site& site, const std::vector<std::string>& paths) {
    std::vector<double> rates(paths.size(), -1);
    if (system("command -v lighttpd >/dev/null && command -v wrk >/dev/null") != 0) return rates;
    int port = 18000 + getpid() % 1000;
    fflush(stdout);
    std::string user =
        geteuid() == 0 ? "server.username = \"nobody\"\nserver.groupname = \"nogroup\"\n" : "";
    write_file(site.root + "/lighttpd.conf",
               "server.modules = (\"mod_cgi\",)\nserver.document-root = \"" + site.root +
                   "\"\nserver.bind = \"127.0.0.1\"\nserver.port = " + std::to_string(port) +
                   "\nserver.errorlog = \"" + site.root + "/logs/error.log\"\n" + user +
                   "$HTTP[\"url\"] =~ \"^/cgi-bin/\" { cgi.assign = (\".php\" => "
                   "\"/usr/bin/php-cgi\", \"\" => \"\") }\n");
    pid_t server = fork();
    if (server == 0) {
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        execlp("lighttpd", "lighttpd", "-D", "-f", (site.root + "/lighttpd.conf").c_str(), nullptr);
        _exit(127);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (size_t i = 0; i < paths.size(); i++) {
        std::string out = run_output("wrk -t2 -c4 -d3s http://127.0.0.1:" + std::to_string(port) +
                                     paths[i] + " 2>/dev/null");
        size_t at = out.find("Requests/sec:");
        bool errors = out.find("Non-2xx") != std::string::npos;
        if (at != std::string::npos && !errors) rates[i] = atof(out.c_str() + at + 13);
    }
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    return rates;
}

constexpr int kTableRows = 100000;

// Fills the engine's table t.dbf, with the index t.qtx on its key, through
// the database statements: key "K" followed by 10000000 + i, name "customer
// number i", amount i % 9973 with i % 100 hundredths (given as text: a
// number is cut, not rounded, to the field's decimals).
const char kBuildTable[] = R"text(.global
    0 "i"
    1 "cents"
.end
.segment 0
    pushc "t"
    pushc "t.dbf"
    pushc ""
    pushc "key CHAR(12), name CHAR(30), amount NUMBER(10.2)"
    dbcreate
    pushc "t"
    pushc "t.qtx"
    pushc "key"
    pushc ""
    dbmakeindex
again:
    pushc "K"
    pushg i
    pushi 10000000
    add
    cat
    popdc "t", "key"
    pushc "customer number "
    pushg i
    cat
    popdc "t", "name"
    pushg i
    pushi 9973
    mod
    pushc "."
    cat
    pushg i
    pushi 100
    mod
    popg cents
    cmpgi cents, 10
    jmp_ge two_digits
    pushc "0"
    cat
two_digits:
    pushg cents
    cat
    popdc "t", "amount"
    pushc "t"
    pushc ""
    dbadd
    incg i, 1
    cmpgi i, 100000
    jmp_lt again
    pushc "t"
    dbclose
.end
)text";

// The page: the record whose key the form variable id gives, or "not found".
// (A plain name finds an open table's field before a form variable: a form
// variable "key" would be hidden by the field.)
const char kFindPage[] = R"text(.segment 0
    pushc "t"
    pushc "@PATH@"
    pushc "@INDEXES@"
    pushc "@TYPE@"
    pushc ""
    pushc ""
    dbopen
    pushc "t"
    pushc ""
    pushnc "id"
    pushi 1
    dbfind
    pushdc "t", "eof"
    jmp_ne missing
    pushdc "t", "key"
    out
    pushc " "
    out
    pushdc "t", "name"
    out
    pushc " "
    out
    pushdc "t", "amount"
    out
    pushc "\n"
    out
    jmp done
missing:
    pushc "not found\n"
    out
done:
    pushc "t"
    dbclose
.end
)text";

const char kFindPhp[] = R"text(<?php
$db = new SQLite3(__DIR__ . '/../data/t.sqlite');
$find = $db->prepare('SELECT key, name, amount FROM t WHERE key = ?');
$find->bindValue(1, $_GET['id'] ?? '', SQLITE3_TEXT);
$row = $find->execute()->fetchArray(SQLITE3_NUM);
echo $row ? "$row[0] $row[1] $row[2]\n" : "not found\n";
)text";

// The find page of a database type: its table, the key to find by (an xBase
// index file, or a column of a PostgreSQL table) and the type.
std::string find_page(const std::string& path, const std::string& indexes,
                      const std::string& type) {
    std::string page = kFindPage;
    for (auto [mark, value] : {std::pair<std::string, std::string>{"@PATH@", path},
                               {"@INDEXES@", indexes},
                               {"@TYPE@", type}})
        page.replace(page.find(mark), mark.size(), value);
    return page;
}

// The same page in PHP on PostgreSQL: one connection per request, as a CGI
// process has no other, and the key passed as a parameter.
std::string find_pgsql_php(const std::string& conninfo) {
    return "<?php\n$db = pg_connect('" + conninfo +
           "');\n"
           "$result = pg_query_params($db, 'SELECT key, name, amount FROM t WHERE key = $1',\n"
           "                          [$_GET['id'] ?? '']);\n"
           "$row = pg_fetch_row($result);\n"
           "echo $row ? \"$row[0] $row[1] $row[2]\\n\" : \"not found\\n\";\n";
}

// The row that a run asks for, spread over the table; its query and the line
// that both pages print for it.
int find_row(int run) {
    return static_cast<int>((run * 7919L) % kTableRows);
}

std::string find_query(int run) {
    return "QUERY_STRING=id=K" + std::to_string(10000000 + find_row(run));
}

std::string find_line(int run) {
    int i = find_row(run);
    char amount[16];
    snprintf(amount, sizeof amount, "%d.%02d", i % 9973, i % 100);
    return "K" + std::to_string(10000000 + i) + " customer number " + std::to_string(i) + " " +
           amount + "\n";
}

// Builds both tables in the site's data directory and both pages; the time
// of the engine's table in seconds, or -1 with the reason printed.
double build_find_site(const std::string& build, const Site& site) {
    std::string data = site.root + "/data";
    TestApplication application;
    NullOutput output;
    application.SetOutput(&output);
    application.files().InitializeDataDirectory(data.c_str());
    ScriptRun run(kBuildTable, &application);
    auto start = std::chrono::steady_clock::now();
    if (!run.error().empty() || run.Go() != 1) {
        printf("the engine's table could not be built %s\n", run.error().c_str());
        return -1;
    }
    std::chrono::duration<double> built = std::chrono::steady_clock::now() - start;
    application.SetOutput(nullptr);

    sqlite3* db = nullptr;
    sqlite3_stmt* insert = nullptr;
    auto exec = [&db](const char* sql) {
        return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    };
    bool ok =
        sqlite3_open((data + "/t.sqlite").c_str(), &db) == SQLITE_OK &&
        exec("CREATE TABLE t (key TEXT, name TEXT, amount TEXT)") &&
        exec("CREATE INDEX t_key ON t (key)") && exec("BEGIN") &&
        sqlite3_prepare_v2(db, "INSERT INTO t VALUES (?, ?, ?)", -1, &insert, nullptr) == SQLITE_OK;
    for (int i = 0; i < kTableRows && ok; i++) {
        std::string key = "K" + std::to_string(10000000 + i);
        std::string name = "customer number " + std::to_string(i);
        char amount[16];
        snprintf(amount, sizeof amount, "%d.%02d", i % 9973, i % 100);
        sqlite3_bind_text(insert, 1, key.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 3, amount, -1, SQLITE_TRANSIENT);
        ok = sqlite3_step(insert) == SQLITE_DONE && sqlite3_reset(insert) == SQLITE_OK;
    }
    sqlite3_finalize(insert);
    ok = ok && exec("COMMIT");
    sqlite3_close(db);
    if (!ok) {
        printf("the SQLite table could not be built\n");
        return -1;
    }

    write_file(site.root + "/find.oxs", find_page("t.dbf", "t.qtx", ""));
    mkdir((site.root + "/scripts/find").c_str(), 0777);
    system((build + "/bin/oxin-asm " + site.root + "/find.oxs " + site.root +
            "/scripts/find/index.oxc")
               .c_str());
    write_file(site.cgi + "/find.php", kFindPhp);
    if (geteuid() == 0) {
        if (passwd* nobody = getpwnam("nobody"))
            system(("chown -R " + std::to_string(nobody->pw_uid) + " " + data + " " + site.root +
                    "/scripts/find")
                       .c_str());
    }
    return built.count();
}

// The source tree that the build directory was configured from (its
// CMakeCache.txt says), or "" when it does not say.
std::string source_directory(const std::string& build) {
    std::ifstream cache(build + "/CMakeCache.txt");
    const std::string key = "CMAKE_HOME_DIRECTORY:INTERNAL=";
    for (std::string line; std::getline(cache, line);)
        if (line.compare(0, key.size(), key) == 0) return line.substr(key.size());
    return "";
}

// A PostgreSQL server with a pgbouncer in transaction mode in front of it,
// started by the tests' own harness in a directory of the site's, and
// stopped with this object. Connection strings are "" when it did not start.
struct PostgresSite {
    std::string script;
    std::string directory;
    std::string conninfo;
    std::string bouncer_conninfo;
    std::string psql;  // the command that runs SQL from its standard input
    std::string failure;

    PostgresSite(const std::string& build, const Site& site) {
        script = source_directory(build) + "/tests/support/postgres_server.py";
        directory = site.root + "/pg";
        if (access(script.c_str(), R_OK) != 0) {
            failure = script + " is missing";
            return;
        }
        std::string output = run_output("/usr/bin/python3 " + script + " start " + directory +
                                        " --bouncer 2>&1");
        std::string socket_dir, port, user;
        for (size_t at = 0, end; at < output.size(); at = end + 1) {
            end = output.find('\n', at);
            if (end == std::string::npos) end = output.size();
            std::string line = output.substr(at, end - at);
            size_t equals = line.find('=');
            if (equals == std::string::npos) continue;
            std::string key = line.substr(0, equals), value = line.substr(equals + 1);
            if (key == "CONNINFO") conninfo = value;
            if (key == "BOUNCER_CONNINFO") bouncer_conninfo = value;
            if (key == "SOCKET_DIR") socket_dir = value;
            if (key == "PORT") port = value;
            if (key == "USER") user = value;
        }
        if (conninfo.empty() || bouncer_conninfo.empty()) {
            failure = output;
            conninfo = bouncer_conninfo = "";
            return;
        }
        psql = "/usr/lib/postgresql/15/bin/psql -X -q -v ON_ERROR_STOP=1 -h " + socket_dir +
               " -p " + port + " -U " + user + " -d " + user + " >/dev/null";
    }
    ~PostgresSite() {
        if (!conninfo.empty())
            system(("/usr/bin/python3 " + script + " stop " + directory + " >/dev/null").c_str());
    }
    bool running() const { return !conninfo.empty(); }
};

// Loads the rows of the find into a table t of the server with COPY through
// psql; the time in seconds, or -1.
double load_postgres_table(const PostgresSite& server) {
    auto start = std::chrono::steady_clock::now();
    FILE* psql = popen(server.psql.c_str(), "w");
    if (!psql) return -1;
    fputs("CREATE TABLE t (key text PRIMARY KEY, name text, amount numeric);\n"
          "COPY t (key, name, amount) FROM STDIN;\n",
          psql);
    for (int i = 0; i < kTableRows; i++)
        fprintf(psql, "K%d\tcustomer number %d\t%d.%02d\n", 10000000 + i, i, i % 9973, i % 100);
    fputs("\\.\nVACUUM ANALYZE t;\n", psql);
    int status = pclose(psql);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    std::chrono::duration<double> loaded = std::chrono::steady_clock::now() - start;
    return loaded.count();
}

// The engine's configuration for the PostgreSQL page on conninfo, written
// to the site as name; the PHP page on the same server as cgi-bin/php_name.
void write_postgres_pages(const std::string& build, const Site& site, const std::string& name,
                          const std::string& conninfo, const std::string& php_name) {
    write_file(site.root + "/" + name, "dir_oxin = " + site.root + "/scripts\ndir_data = " +
                                           site.root + "/data\nlibrary database postgresql " +
                                           build + "/lib/liboxinpostgresql.so\n" +
                                           "system postgresql_connection = " + conninfo + "\n");
    write_file(site.cgi + "/" + php_name, find_pgsql_php(conninfo));
}

// The body of a CGI response, after its headers.
std::string body(const std::string& response) {
    size_t end = response.find("\r\n\r\n");
    return end == std::string::npos ? response : response.substr(end + 4);
}

// Prints label and engine/other, or "-" when either is unknown.
void ratio(const char* label, double engine, double other) {
    printf("%s", label);
    if (engine > 0 && other > 0) {
        printf("  %6.2f", engine / other);
    } else {
        printf("  %6s", "-");
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string self = argv[0];
    std::string build = argc > 1 ? argv[1] : self.substr(0, self.rfind('/')) + "/..";
    // The engine's file manager changes directory as it resolves paths.
    if (char* real = realpath(build.c_str(), nullptr)) {
        build = real;
        free(real);
    }
    Site site(build);
    std::vector<std::string> cgi_env = {
        "GATEWAY_INTERFACE=CGI/1.1", "REQUEST_METHOD=GET", "PATH_INFO=/hello/index.oxc",
        "SERVER_NAME=127.0.0.1",     "SERVER_PORT=80",     "SCRIPT_NAME=/cgi-bin/oxin"};
    Measure engine = run_many(site.cgi, {site.cgi + "/oxin"}, cgi_env);
    Measure c = site.c_ok ? run_many(site.cgi, {site.cgi + "/hello-c"}, cgi_env) : Measure();
    Measure php = site.php_ok
                      ? run_many(site.cgi, {"/usr/bin/php-cgi", "-q", site.cgi + "/hello.php"},
                                 {"PATH=/usr/bin:/bin"})
                      : Measure();
    printf("hello page as a whole process, %d runs each\n", kRuns);
    printf("%-10s %12s %12s %12s\n", "program", "ms/request", "median KB", "peak KB");
    const std::pair<const char*, const Measure*> hello[] = {
        {"engine", &engine}, {"C", &c}, {"php-cgi", &php}};
    for (const auto& [name, measure] : hello)
        printf("%-10s %12.3f %12ld %12ld\n", name, measure->ms_per_request, measure->median_kb(),
               measure->peak_kb);
    ratio("time engine/C", engine.ms_per_request, c.ms_per_request);
    ratio("   engine/php-cgi", engine.ms_per_request, php.ms_per_request);
    ratio("\npeak memory engine/C", static_cast<double>(engine.peak_kb), static_cast<double>(c.peak_kb));
    ratio("   engine/php-cgi", static_cast<double>(engine.peak_kb), static_cast<double>(php.peak_kb));
    printf("\n\nthrough lighttpd with wrk (2 threads, 4 connections, 3 s)\n");
    std::vector<double> rates =
        served(site, {"/cgi-bin/oxin/hello/index.oxc", "/cgi-bin/hello-c", "/cgi-bin/hello.php"});
    printf("%-10s %12s\n", "program", "requests/s");
    const char* names[] = {"engine", "C", "php-cgi"};
    for (int i = 0; i < 3; i++)
        printf("%-10s %12.0f\n", names[i], rates[i]);
    ratio("throughput C/engine", rates[1], rates[0]);
    ratio("   php-cgi/engine", rates[2], rates[0]);
    printf("\n");

    // "--hello" after the build directory stops here.
    if (argc > 2 && std::string(argv[2]) == "--hello") return 0;
    printf("\nfind one record by key among %d and print it, %d runs each\n", kTableRows, kRuns);
    double built = build_find_site(build, site);
    if (built < 0) return 1;
    printf("engine's table built through the statements in %.2f s (%.1f us a row)\n", built,
           built * 1e6 / kTableRows);
    cgi_env[2] = "PATH_INFO=/find/index.oxc";
    std::vector<std::string> php_env = {"GATEWAY_INTERFACE=CGI/1.1",
                                        "REQUEST_METHOD=GET",
                                        "SERVER_NAME=127.0.0.1",
                                        "SERVER_PORT=80",
                                        "REDIRECT_STATUS=200",
                                        "SCRIPT_NAME=/cgi-bin/find.php",
                                        "SCRIPT_FILENAME=" + site.cgi + "/find.php",
                                        "PATH=/usr/bin:/bin"};
    // A page is timed only if it prints the record asked for.
    auto shell_env = [](std::vector<std::string> entries) {
        entries.push_back(find_query(1));
        std::string text = "env -i";
        for (const std::string& e : entries)
            text += " '" + e + "'";
        return text;
    };
    std::string engine_page =
        body(run_output("cd " + site.cgi + " && " + shell_env(cgi_env) + " ./oxin"));
    std::string php_page =
        site.php_ok ? body(run_output(shell_env(php_env) + " /usr/bin/php-cgi 2>/dev/null")) : "";
    bool engine_right = engine_page == find_line(1);
    bool php_right = site.php_ok && php_page == find_line(1);
    if (!engine_right) printf("engine prints: %s(not timed)\n", engine_page.c_str());
    if (!php_right) printf("php-cgi prints: %s(not timed)\n", php_page.c_str());
    Measure engine_find =
        engine_right ? run_many(site.cgi, {site.cgi + "/oxin"}, cgi_env, find_query) : Measure();
    Measure php_find =
        php_right ? run_many(site.cgi, {"/usr/bin/php-cgi"}, php_env, find_query) : Measure();
    printf("%-10s %12s %12s\n", "program", "ms/request", "peak KB");
    printf("%-10s %12.3f %12ld\n", "engine", engine_find.ms_per_request, engine_find.peak_kb);
    printf("%-10s %12.3f %12ld\n", "php-cgi", php_find.ms_per_request, php_find.peak_kb);
    ratio("time engine/php-cgi", engine_find.ms_per_request, php_find.ms_per_request);
    ratio("   peak memory engine/php-cgi", static_cast<double>(engine_find.peak_kb), static_cast<double>(php_find.peak_kb));
    printf("\n");

    printf("\nthe same page on PostgreSQL 15 over TCP 127.0.0.1, directly and through pgbouncer "
           "(transaction mode), %d runs each\n",
           kRuns);
    PostgresSite server(build, site);
    if (!server.running()) {
        printf("PostgreSQL did not start, so no PostgreSQL columns: %s\n", server.failure.c_str());
        return 0;
    }
    double loaded = load_postgres_table(server);
    if (loaded < 0) {
        printf("the PostgreSQL table could not be loaded\n");
        return 1;
    }
    printf("rows loaded with COPY through psql (and VACUUM ANALYZE) in %.2f s\n", loaded);
    write_file(site.root + "/findpg.oxs", find_page("t", "key", "postgresql"));
    mkdir((site.root + "/scripts/findpg").c_str(), 0777);
    system((build + "/bin/oxin-asm " + site.root + "/findpg.oxs " + site.root +
            "/scripts/findpg/index.oxc")
               .c_str());
    if (geteuid() == 0) {
        if (passwd* nobody = getpwnam("nobody"))
            chown((site.root + "/scripts/findpg/index.oxc").c_str(), nobody->pw_uid, 0);
    }
    write_postgres_pages(build, site, "pg.conf", server.conninfo, "findpg.php");
    write_postgres_pages(build, site, "pgbouncer.conf", server.bouncer_conninfo, "findpgb.php");
    auto engine_pg_env = [&](const std::string& conf) {
        std::vector<std::string> entries = cgi_env;
        entries[2] = "PATH_INFO=/findpg/index.oxc";
        entries.push_back("OxCONFIG_FILE=" + site.root + "/" + conf);
        return entries;
    };
    auto php_pg_env = [&](const std::string& script) {
        std::vector<std::string> entries = php_env;
        entries[5] = "SCRIPT_NAME=/cgi-bin/" + script;
        entries[6] = "SCRIPT_FILENAME=" + site.cgi + "/" + script;
        return entries;
    };
    // A side is timed only if it prints the record asked for.
    auto checked = [&](const char* name, const std::vector<std::string>& argv,
                       const std::vector<std::string>& environment, bool enabled = true) {
        Side side{argv, environment, enabled};
        if (!enabled) return side;
        std::string page = body(run_output("cd " + site.cgi + " && " + shell_env(environment) +
                                           " " + argv[0] + " 2>/dev/null"));
        side.enabled = page == find_line(1);
        if (!side.enabled) printf("%s prints: %s(not timed)\n", name, page.c_str());
        return side;
    };
    // All six in turn: the two above again, so that the ratios compare runs
    // under the same load.
    std::vector<Measure> measures = run_interleaved(
        site.cgi,
        {checked("engine + xBase", {site.cgi + "/oxin"}, cgi_env, engine_right),
         checked("engine + PostgreSQL", {site.cgi + "/oxin"}, engine_pg_env("pg.conf")),
         checked("engine + pgbouncer", {site.cgi + "/oxin"}, engine_pg_env("pgbouncer.conf")),
         checked("php-cgi + SQLite", {"/usr/bin/php-cgi"}, php_env, php_right),
         checked("php-cgi + PostgreSQL", {"/usr/bin/php-cgi"}, php_pg_env("findpg.php"),
                 site.php_ok),
         checked("php-cgi + pgbouncer", {"/usr/bin/php-cgi"}, php_pg_env("findpgb.php"),
                 site.php_ok)},
        find_query);
    const Measure& engine_xbase = measures[0];
    const Measure& engine_pg = measures[1];
    const Measure& engine_bouncer = measures[2];
    const Measure& php_sqlite = measures[3];
    const Measure& php_pg = measures[4];
    const Measure& php_bouncer = measures[5];
    printf("the six in turn, %d rounds of one run each\n", kRuns);
    printf("%-24s %12s %12s\n", "program", "ms/request", "peak KB");
    struct Line {
        const char* name;
        const Measure& measure;
    };
    for (const Line& line : {Line{"engine + xBase", engine_xbase},
                             Line{"engine + PostgreSQL", engine_pg},
                             Line{"engine + pgbouncer", engine_bouncer},
                             Line{"php-cgi + SQLite", php_sqlite},
                             Line{"php-cgi + PostgreSQL", php_pg},
                             Line{"php-cgi + pgbouncer", php_bouncer}})
        printf("%-24s %12.3f %12ld\n", line.name, line.measure.ms_per_request,
               line.measure.peak_kb);
    ratio("time engine+PostgreSQL/engine+xBase", engine_pg.ms_per_request, engine_xbase.ms_per_request);
    ratio("   engine+PostgreSQL/php-cgi+PostgreSQL", engine_pg.ms_per_request, php_pg.ms_per_request);
    ratio("   engine+pgbouncer/php-cgi+pgbouncer", engine_bouncer.ms_per_request, php_bouncer.ms_per_request);
    ratio("\ntime through pgbouncer/direct: engine", engine_bouncer.ms_per_request, engine_pg.ms_per_request);
    ratio("   php-cgi", php_bouncer.ms_per_request, php_pg.ms_per_request);
    ratio("\npeak memory engine+PostgreSQL/engine+xBase", static_cast<double>(engine_pg.peak_kb), static_cast<double>(engine_xbase.peak_kb));
    ratio("   engine+PostgreSQL/php-cgi+PostgreSQL", static_cast<double>(engine_pg.peak_kb), static_cast<double>(php_pg.peak_kb));
    printf("\n");
    return 0;
}
