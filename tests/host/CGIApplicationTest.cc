#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
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
    // Seconds west 0 is the "-" form; half hours are dropped.
    for (auto [zone, offset] :
         {std::pair{"UTC0", " -0000"}, {"IST-5:30", " +0500"}, {"NST3:30", " -0300"}}) {
        std::string date = date_in(zone);
        EXPECT_TRUE(std::regex_match(date, layout)) << date;
        EXPECT_EQ(date.substr(date.size() - 6), offset) << zone;
    }
}

// Runs command with only the given environment; its standard output, or
// "exit N: output" when it fails.
std::string run_program(const std::string& command, const std::vector<std::string>& environment) {
    std::string line = "env -i";
    for (const std::string& variable : environment)
        line += " '" + variable + "'";
    FILE* pipe = popen((line + " " + command).c_str(), "r");
    std::string text;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        text.append(buffer, n);
    int status = pclose(pipe);
    return status == 0 ? text : "exit " + std::to_string(WEXITSTATUS(status)) + ": " + text;
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
    ASSERT_EQ(
        run_program(OXIN_ASSEMBLER " " OXIN_SOURCE_DIR "/tests/host/scripts/request.oxs " + script,
                    {}),
        "");
    if (geteuid() == 0) {  // as root the engine refuses scripts owned by root
        const passwd* nobody = getpwnam("nobody");
        ASSERT_NE(nobody, nullptr);
        for (const char* name : {"scripts", "scripts/script.oxc", "data", "temp"})
            ASSERT_EQ(chown(site.Path(name).c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    }
    std::string answer =
        run_program(OXIN_ENGINE, {"PATH=/usr/bin:/bin", "QUERY_STRING=script.oxc+a=1&b=x",
                                  "OxCONFIG_FILE=" + site.Path("oxin.conf"),
                                  std::string("OxCONFIG_LIBRARY=") + OXIN_CONFIG_LIBRARY});
    size_t body = answer.find("\r\n\r\n");
    ASSERT_NE(body, std::string::npos) << answer;
    std::string lines = answer.substr(body + 4);
    EXPECT_NE(lines.find("arg1=script.oxc\n"), std::string::npos) << lines;
    EXPECT_NE(lines.find("\na=1\nb=x\n"), std::string::npos) << lines;
}

}  // namespace
