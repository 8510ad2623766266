#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "extensions/ExternalCallManager.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TempDirectory.h"

namespace {

// The test library's functions, and a script function that it calls back.
const char kDeclarations[] =
    ".global\n 0 \"g\"\n.end\n.functions\n"
    ".function 0 \"ApiVariables\" segment -1 offset -1 flags 1\n.end\n"
    ".function 1 \"apiprogram\" segment -1 offset -1 flags 1\n param \"expr\"\n.end\n"
    ".function 2 \"apifiles\" segment -1 offset -1 flags 1\n.end\n"
    ".function 3 \"apinetwork\" segment -1 offset -1 flags 1\n param \"host\"\n param \"port\"\n"
    " param \"url\"\n.end\n"
    ".function 4 \"apifatal\" segment -1 offset -1 flags 1\n param \"text\"\n.end\n"
    ".function 5 \"twice\" segment 1\n param \"x\"\n.end\n";
const char kTwice[] = ".segment 1\n    pushl x\n    pushi 2\n    mul\n    ret\n.end\n";

// The listing's statements run with the library registered; the script
// lies in a data directory that is also its script directory.
struct ApiRun {
    explicit ApiRun(const std::string& code)
        : externals(std::make_unique<ExternalCallManager>(&application)) {
        application.SetOutput(&output);
        EXPECT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
        EXPECT_TRUE(application.files().InitializeScriptDirectory(data.path().c_str(), nullptr));
        EXPECT_TRUE(externals->RegisterDSO(OXIN_API_LIBRARY)) << externals->error().c_str();
        std::ofstream(data.Path("script.txt")) << "from the script area";
        run = std::make_unique<ScriptRun>(
            kDeclarations + std::string(".segment 0\n    pushc \"hello\"\n    popg g\n") + code +
                "\n.end\n" + kTwice,
            &application, externals.get(), data.path(), "main.oxc");
    }
    std::string Go() {
        int result = run->Go();
        return std::to_string(result) + ":" + (result < 0 ? run->error() : output.text());
    }
    TempDirectory data;
    TestApplication application;
    StringOutput output;
    std::unique_ptr<ExternalCallManager> externals;
    std::unique_ptr<ScriptRun> run;
};

TEST(ApiLibraryTest, VariablesListsScopesAndTexts) {
    ApiRun machine("    call ApiVariables\n    out\n    pushg g\n    out");
    EXPECT_EQ(machine.Go(),
              "1:g=hello;name=g;int=0;empty=0;max=4;min=1;used=3;next=4;prev=2;collapse=3;"
              "copied=3;listed=3;1=1.5;2=2.5;3=1.5;atype=1;stype=4;member=7;deleted=1;real=1;"
              "nextid=1;viaalias=1.5;dbl=15;ns=ab;kept=first;entries=5;current=1;hashed=2;x=2;"
              "index=1;oldfind=x&y;oldname=q;oldnext=1;url=http://h/s?q=x%26y;oldelem=TWO;"
              "oldcount=122;oldlist=2;oldmember=v;oldtype=2;tree=tv;b64=b3hpbg==;raw=oxin;"
              "crc=4236843288;clock=1;buffer=AB-30.5!changed;changed");
}

TEST(ApiLibraryTest, TheRunningProgram) {
    ApiRun machine(
        "    pushc \"twice(4) $ g\"\n    call apiprogram\n    out\n    pushc \"(\"\n"
        "    call apiprogram\n    out\n    pushc \"stop here\"\n    call apifatal\n"
        "    pushc \"not reached\"\n    out");
    std::string seen = machine.Go();
    const char* common =
        "run=1;twice=42;missing=0;compare=1;locals=1;globals=1;systems=0;viahash=h;syshash=1;"
        "charset=UTF-8;utf8=1;attr=a+b%26;unattr=a b&;ent=&lt;&amp;&gt;;unent=<&>;js=\\u0027\\n;"
        "session=64;";
    std::string first = std::string("0:[out]ran=1;value=8hello;ranbool=1;truth=1;") + common +
                        "calls=1;self=ApiProgram;ssl=1;[out]error=";
    EXPECT_EQ(seen.substr(0, first.size()), first);
    EXPECT_NE(seen.find(std::string(common) + "calls=2;self=ApiProgram;ssl=1;"), std::string::npos)
        << seen;
    EXPECT_NE(seen.find("stop here"), std::string::npos);
    EXPECT_EQ(seen.find("not reached"), std::string::npos);
    // The persistent data goes with the call manager, after the machine.
    void* library = dlopen(OXIN_API_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    auto cleanups = reinterpret_cast<int (*)()>(dlsym(library, "api_cleanups"));
    ASSERT_NE(cleanups, nullptr);
    machine.run.reset();
    EXPECT_EQ(cleanups(), 0);
    machine.externals.reset();
    EXPECT_EQ(cleanups(), 1);
    dlclose(library);
}

TEST(ApiLibraryTest, FilesOfTheContainedAreas) {
    ApiRun machine("    call apifiles\n    out");
    machine.application.SetConfig(kConfigDirCommerce, "shop");
    mkdir(machine.data.Path("shop").c_str(), 0755);
    EXPECT_EQ(machine.Go(),
              "1:mkdir=0;isdir=1;write=10;lock=0;release=0;seek=6;tell=6;length=10;owner=1;"
              "exists=1;size=10;time=1;chmod=0;mode=416;copy=0;rename=0;link=0;touch=0;delete=0;"
              "lockfile=1;temp=1;script=from the script area;normal=d/f.txt;listing=5;gone=1;"
              "error=The specified path references a path outside the configured data directory;"
              "resolve=1;resolved=oxFile_Resolve is no longer supported;rmdir=-1;"
              "sep=/;oldmkdir=0;oldwrite=3;oldlock=0;oldseek=5;oldread=2;oldfileerror=;"
              "oldexists=11;oldsize=3;oldmode=384;oldrename=0;olddelete=0;oldresolve=1;"
              "olderror=oxin_file_resolve is no longer supported;oldsep=/;");
    std::ifstream moved(machine.data.Path("shop/h.txt"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(moved), {}), "hello file");
}

TEST(ApiLibraryTest, NetworkToALocalServer) {
    int port = FreeLoopbackPort();
    std::string p = std::to_string(port);
    NginxServer nginx("server { listen 127.0.0.1:" + p + "; root $DIR; }");
    ASSERT_TRUE(nginx.running());
    std::ofstream(nginx.Path("page.txt")) << "a page";
    ApiRun machine("    pushc \"127.0.0.1\"\n    pushi " + p + "\n    pushc \"http://127.0.0.1:" +
                   p + "/page.txt\"\n    call apinetwork\n    out");
    std::string seen = machine.Go();
    EXPECT_EQ(seen.substr(0, seen.find("rerror=")),
              "1:ip=1;address=1;cut=127;full=127.0.0.1;line=HTTP/1.1 200;status=200;clength=6;"
              "body=a page;");
    for (const char* item : {"nohttp=1;herror=1;", "post=HTTP/1.1 405", "tls=1;tlserror=1;",
                             "oldline=17;oldread=1;oldwrite=4;olderror=;"})
        EXPECT_NE(seen.find(item), std::string::npos) << item << " in " << seen;
}

}  // namespace
