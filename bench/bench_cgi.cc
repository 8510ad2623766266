// The hello page as a whole CGI process, start to exit: the engine against a
// minimal C program and Debian's php-cgi printing the same page, each run
// directly many times (time per request and peak memory), then each served
// by lighttpd under load from wrk (requests per second). Prints the ratios
// engine/other. Needs cc, php-cgi, lighttpd and wrk on the PATH for their
// columns. Usage: bench_cgi [BUILD_DIR] (default: the directory above this
// program's own).
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

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

struct Measure {
    double ms_per_request = -1;
    long peak_kb = -1;
};

// Runs argv in directory kRuns times with environment; wall time and the
// largest resident size of any run.
Measure run_many(const std::string& directory, const std::vector<std::string>& argv,
                 const std::vector<std::string>& environment) {
    Measure measure;
    auto start = std::chrono::steady_clock::now();
    fflush(stdout);
    for (int i = 0; i < kRuns; i++) {
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
            env.push_back(nullptr);
            execve(args[0], args.data(), env.data());
            _exit(127);
        }
        int status;
        rusage usage;
        wait4(child, &status, 0, &usage);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return Measure();
        if (usage.ru_maxrss > measure.peak_kb) measure.peak_kb = usage.ru_maxrss;
    }
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    measure.ms_per_request = elapsed.count() / kRuns;
    return measure;
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

void ratio(double engine, double other) {
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
    printf("%-10s %12s %12s\n", "program", "ms/request", "peak KB");
    printf("%-10s %12.3f %12ld\n", "engine", engine.ms_per_request, engine.peak_kb);
    printf("%-10s %12.3f %12ld\n", "C", c.ms_per_request, c.peak_kb);
    printf("%-10s %12.3f %12ld\n", "php-cgi", php.ms_per_request, php.peak_kb);
    printf("time engine/C");
    ratio(engine.ms_per_request, c.ms_per_request);
    printf("   engine/php-cgi");
    ratio(engine.ms_per_request, php.ms_per_request);
    printf("\npeak memory engine/C");
    ratio(static_cast<double>(engine.peak_kb), static_cast<double>(c.peak_kb));
    printf("   engine/php-cgi");
    ratio(static_cast<double>(engine.peak_kb), static_cast<double>(php.peak_kb));
    printf("\n\nthrough lighttpd with wrk (2 threads, 4 connections, 3 s)\n");
    std::vector<double> rates =
        served(site, {"/cgi-bin/oxin/hello/index.oxc", "/cgi-bin/hello-c", "/cgi-bin/hello.php"});
    printf("%-10s %12s\n", "program", "requests/s");
    const char* names[] = {"engine", "C", "php-cgi"};
    for (int i = 0; i < 3; i++)
        printf("%-10s %12.0f\n", names[i], rates[i]);
    printf("throughput C/engine");
    ratio(rates[1], rates[0]);
    printf("   php-cgi/engine");
    ratio(rates[2], rates[0]);
    printf("\n");
    return 0;
}
