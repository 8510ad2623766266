#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "host/CGIApplication.h"
#include "tests/support/TempDirectory.h"

namespace {

std::string date_in(const char* zone) {
    setenv("TZ", zone, 1);
    char program[] = "oxin";
    char* argv[] = {program, nullptr};
    CGIApplication application(1, argv);
    int length;
    char* text = application.currentdate(&length);
    std::string date(text, length);
    delete[] text;
    unsetenv("TZ");
    return date;
}

TEST(CGIApplicationTest, DatesCarryWholeHoursOfTheZone) {
    std::regex layout(R"(\w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d [+-]\d{4})");
    std::string utc = date_in("UTC0");
    EXPECT_TRUE(std::regex_match(utc, layout)) << utc;
    EXPECT_EQ(utc.substr(utc.size() - 5), "-0000");  // seconds west 0 is the "-" form
    // Half an hour east is written as whole hours: the minutes are dropped.
    std::string india = date_in("IST-5:30");
    EXPECT_EQ(india.substr(india.size() - 5), "+0500");
    std::string newfoundland = date_in("NST3:30");
    EXPECT_EQ(newfoundland.substr(newfoundland.size() - 5), "-0300");
}

TEST(CGIApplicationTest, SessionIdsAreThirtyTwoHexDigits) {
    char program[] = "oxin";
    char* argv[] = {program, nullptr};
    CGIApplication application(1, argv);
    int length;
    char* first = application.MakeSessionID(&length);
    char* second = application.MakeSessionID(&length);
    EXPECT_EQ(length, 32);
    EXPECT_TRUE(std::regex_match(first, std::regex("[0-9a-f]{32}")));
    EXPECT_STRNE(first, second);
    delete[] first;
    delete[] second;
}

// Runs program with only the given environment; its standard output, or
// "exit N" when it fails.
std::string run_program(std::vector<std::string> arguments, std::vector<std::string> environment) {
    int out[2];
    if (pipe(out) != 0) return "no pipe";
    pid_t child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        close(out[0]);
        close(out[1]);
        std::vector<char*> argv, envp;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        for (std::string& variable : environment)
            envp.push_back(variable.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(out[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, n);
    close(out[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return "exit " + std::to_string(WEXITSTATUS(status)) + ": " + text;
    return text;
}

// The engine as a web server starts it for "oxin?script.oxc+a=1&b=x": no
// path after the program, the script named in the query before the "+" and
// the script's variables after it.
TEST(CGIApplicationTest, VariablesAfterTheScriptNameInTheQueryReachTheScript) {
    TempDirectory site;
    ASSERT_EQ(chmod(site.path().c_str(), 0755), 0);
    for (const char* name : {"scripts", "data", "temp"})
        ASSERT_EQ(mkdir(site.Path(name).c_str(), 0755), 0);
    std::ofstream(site.Path("oxin.conf")) << "dir_oxin = " << site.Path("scripts") << "\n"
                                          << "dir_data = " << site.Path("data") << "\n"
                                          << "dir_temp = " << site.Path("temp") << "\n";
    std::string script = site.Path("scripts/script.oxc");
    ASSERT_EQ(run_program(
                  {OXIN_ASSEMBLER, OXIN_SOURCE_DIR "/tests/host/scripts/request.oxs", script}, {}),
              "");
    if (geteuid() == 0) {  // as root the engine refuses scripts owned by root
        const passwd* nobody = getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        for (const char* name : {"scripts", "scripts/script.oxc", "data", "temp"})
            ASSERT_EQ(chown(site.Path(name).c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    }
    std::string answer =
        run_program({OXIN_ENGINE}, {"PATH=/usr/bin:/bin", "QUERY_STRING=script.oxc+a=1&b=x",
                                    "OxCONFIG_FILE=" + site.Path("oxin.conf"),
                                    std::string("OxCONFIG_LIBRARY=") + OXIN_CONFIG_LIBRARY});
    size_t body = answer.find("\r\n\r\n");
    ASSERT_NE(body, std::string::npos) << answer;
    std::string lines = answer.substr(body + 4);
    EXPECT_NE(lines.find("arg1=script.oxc\n"), std::string::npos) << lines;
    EXPECT_NE(lines.find("\na=1\nb=x\n"), std::string::npos) << lines;
}

}  // namespace
