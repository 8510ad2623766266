#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "files/Dictionary.h"
#include "host/MultipartFormParser.h"
#include "host/URLEncodedParser.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

// Feeds body to parser in blocks cut at random places (none when seed is
// 0); "" or the parser's error.
std::string feed(HTTPContentParser* parser, const std::string& body, unsigned seed) {
    std::mt19937 random(seed);
    size_t at = 0;
    while (at < body.size()) {
        size_t block = std::min<size_t>(body.size() - at, seed ? 1 + random() % 40 : body.size());
        if (!parser->Parse(body.data() + at, static_cast<int>(block)))
            return parser->error().c_str();
        at += block;
    }
    return parser->Finalize() ? "" : parser->error().c_str();
}

// Every variable of hash as "name=value;" in entry order.
std::string listing(VariableHash& hash) {
    std::string out;
    for (int n = 0; n < hash.Entries(); n++) {
        Variable* variable = hash.Index(n, 0);
        if (!variable) continue;
        out += std::string(variable->name().c_str(), variable->name().length()) + "=";
        Variable* second = variable->Element(AggregateIndex(2), 0);
        if (second) {
            out += "[" + std::string(variable->Element(AggregateIndex(1), 0)->value().c_str()) +
                   "," + std::string(second->value().c_str(), second->value().length()) + "]";
        } else {
            out += std::string(variable->value().c_str(), variable->value().length());
        }
        out += ";";
    }
    return out;
}

struct Case {
    std::string body;
    std::string variables;
    std::string error;
};

TEST(FormParserTest, UrlEncodedBodiesGiveTheSameVariablesInAnyBlocks) {
    const Case cases[] = {
        {"a=1&b=two+words&c=%41%42", "a=1;b=two words;c=AB;", ""},
        {"a=%zz%4", "a=S;", ""},  // letters are taken as digits; a cut escape is dropped
        {"n%61me=x&flag&x=%00y", std::string("name=x;flag=;x=\0y;", 18), ""},
        {"r=1&r=2", "r=[1,2];", ""},
        {"lonely", "", ""},  // a single bare name is no variable
        {"a=1&lonely", "a=1;lonely=;", ""},
        {"v1=1&v2=2&v3=3&v4=4", "", "Maximum number of POST variables exceeded"},
    };
    for (const Case& c : cases) {
        for (unsigned seed = 0; seed < 20; seed++) {
            Dictionary dictionary;
            VariableHash globals(&dictionary);
            URLEncodedParser parser(&globals, 3);
            EXPECT_EQ(feed(&parser, c.body, seed), c.error) << c.body;
            if (c.error.empty()) {
                EXPECT_EQ(listing(globals), c.variables) << c.body << " " << seed;
            }
        }
    }
}

// Uploads are handed to functions of a script, which this one prints.
const char kUploadScript[] =
    ".functions\n"
    ".function 0 \"Oxin_ValidateFileUpload\" segment 1\n param \"f\"\n param \"n\"\n"
    " param \"t\"\n.end\n"
    ".function 1 \"Oxin_ProcessFileUpload\" segment 2\n param \"f\"\n param \"n\"\n"
    " param \"s\"\n param \"p\"\n param \"t\"\n param \"z\"\n.end\n"
    ".segment 0\n.end\n"
    ".segment 1\n    pushl f\n    pushc \"big\"\n    eq\n    jmp_ne limit\n    pushi 0\n"
    "    ret\nlimit:\n    pushi 10\n    ret\n.end\n"
    ".segment 2\n    pushl f\n    pushc \":\"\n    cat\n    pushl n\n    cat\n    pushc \":\"\n"
    "    cat\n    pushl s\n    cat\n    pushc \":\"\n    cat\n    pushl t\n    cat\n"
    "    pushc \":\"\n    cat\n    pushl z\n    cat\n    pushc \";\"\n    cat\n    out\n"
    "    retn\n.end\n";

TEST(FormParserTest, MultipartBodiesGiveTheSameResultsInAnyBlocks) {
    std::string boundary = "\r\n--XyZ";
    std::string file(3000, 'q');
    file[1500] = '\r';  // a false start of the boundary inside the data
    file[1501] = '\n';
    std::string body =
        "--XyZ\r\n"
        "Content-Disposition: form-data; name=\"title\"\r\n\r\nHello\r\n--X\r\n"
        "--XyZ\r\n"
        "Content-Disposition: form-data; name=\"doc\"; filename=\"a.txt\"\r\n"
        "Content-Type: text/plain\r\n\r\n" +
        file +
        "\r\n--XyZ\r\n"
        "Content-Disposition: form-data; name=\"big\"; filename=\"b.bin\"\r\n\r\n" +
        std::string(5000, 'b') +
        "\r\n--XyZ\r\n"
        "Content-Disposition: form-data; name=\"empty\"; filename=\"\"\r\n\r\nplain\r\n"
        "--XyZ--\r\nthe rest is ignored";
    char pattern[] = "/tmp/oxin-uploads-XXXXXX";
    std::string data = mkdtemp(pattern);
    for (unsigned seed = 0; seed < 30; seed++) {
        TestApplication application;
        ASSERT_TRUE(application.files().InitializeDataDirectory(data.c_str()));
        StringOutput output;
        application.SetOutput(&output);
        ScriptRun run(kUploadScript, &application);
        ASSERT_EQ(run.error(), "");
        MultipartFormParser parser(run.vm(), application.filemanager(), &run.globals(), 10,
                                   "multipart/form-data; charset=x; boundary=\"XyZ\"");
        EXPECT_EQ(parser.boundary(), boundary);
        ASSERT_EQ(feed(&parser, body, seed), "") << seed;
        EXPECT_EQ(listing(run.globals()), "title=Hello\r\n--X;empty=plain;") << seed;
        // The limit of 10 bytes is cut one piece early, so the file is
        // shorter; the size reported is everything received.
        EXPECT_EQ(output.text().substr(0, output.text().find("big:")),
                  "doc:a.txt:COMPLETE:text/plain:3000;")
            << seed;
        EXPECT_NE(output.text().find("big:b.bin:PARTIAL:text/plain:5000;"), std::string::npos)
            << output.text();
    }
    EXPECT_EQ(rmdir(data.c_str()), 0);  // every temporary was deleted
}

TEST(FormParserTest, MalformedMultipartBodiesFailWithTheirTexts) {
    const Case cases[] = {
        {"junk\r\n", "", "Failed to find boundary separator"},
        {"--B\rX", "", "Found X when expected LF"},
        {"--B\r\n: x\r\n", "", "Found : when expecting file header type"},
        {"--B\r\nX-Other: 1\r\n\r\n", "", "Premature end of line when expecting file header type"},
        {"--B\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nv\r\n--B!", "",
         "Found ! when expected CR or '-'"},
        {"--B\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nv\r\n--B-x", "",
         "Found x when expected '-'"},
    };
    for (const Case& c : cases) {
        for (unsigned seed = 0; seed < 10; seed++) {
            Dictionary dictionary;
            VariableHash globals(&dictionary);
            MultipartFormParser parser(nullptr, nullptr, &globals, 0,
                                       "multipart/form-data; boundary=B");
            EXPECT_EQ(feed(&parser, c.body, seed), c.error) << c.body;
        }
    }
}

// Random forms whose values are full of line ends, dashes and pieces of the
// boundary give back exactly their values, whole or in random blocks; without
// a boundary in the type, the first line is the boundary.
TEST(FormParserTest, RandomMultipartValuesComeBackExactly) {
    std::mt19937 random(5);
    for (int n = 0; n < 300; n++) {
        std::string boundary;
        int boundary_length = 1 + static_cast<int>(random() % 12);
        for (int i = 0; i < boundary_length; i++)
            boundary += static_cast<char>('a' + random() % 3);
        std::string separator = "\r\n--" + boundary;
        std::string body = "--" + boundary;
        std::string expected;
        int parts = 1 + static_cast<int>(random() % 4);
        for (int p = 0; p < parts; p++) {
            std::string value;
            do {
                value.clear();
                int length = static_cast<int>(random() % 30);
                while (static_cast<int>(value.size()) < length) {
                    int kind = static_cast<int>(random() % 4);
                    if (kind == 0) value += separator.substr(0, random() % separator.size());
                    if (kind == 1) value += "\r\n-";
                    if (kind >= 2) value += static_cast<char>(random() % 256);
                }
            } while ((value + "\r").find(separator) != std::string::npos);
            std::string name = "f" + std::to_string(p);
            body += "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
                    separator;
            expected += name + "=" + value + ";";
        }
        body += "--\r\n";
        std::string type =
            random() % 2 ? "multipart/form-data; boundary=" + boundary : "multipart/form-data";
        for (unsigned seed : {0u, static_cast<unsigned>(n + 1)}) {
            Dictionary dictionary;
            VariableHash globals(&dictionary);
            MultipartFormParser parser(nullptr, nullptr, &globals, 0, type.c_str());
            ASSERT_EQ(feed(&parser, body, seed), "") << n;
            ASSERT_EQ(listing(globals), expected) << n << " " << seed;
        }
    }
}

}  // namespace
