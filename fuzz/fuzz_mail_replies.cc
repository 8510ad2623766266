// Feeds arbitrary bytes as the server's side of a mail conversation over an
// in-memory connection: SMTP greetings, multi-line EHLO replies, AUTH
// challenges (DIGEST-MD5 ones above all), broken status codes; POP3
// greetings, STAT, LIST and RETR replies with stuffed and truncated lines.
// The first byte picks the protocol and whether credentials are given, the
// second how many bytes each read delivers.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "fuzz/FuzzDirectory.h"
#include "network/SMTPOutput.h"
#include "network/SMTPService.h"
#include "statements/POP3.h"
#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"

namespace {

class MemoryApplication : public StandaloneApplication {
  public:
    NetworkManager* networkmanager() override { return &network; }
    MemoryNetworkManager network;
};

struct World {
    World() : run(".segment 0\n.end\n", &application) {
        char pattern[] = "/tmp/oxin-fuzz-mail-XXXXXX";
        if (!mkdtemp(pattern)) abort();
        directory = pattern;
        application.files().InitializeDataDirectory(directory.c_str());
        application.SetOutput(&output);
    }
    std::string directory;
    MemoryApplication application;
    StringOutput output;
    ScriptRun run;
};

void SMTPConversation(World& world, bool credentials) {
    SMTPService service(&world.application, String("mail"), 25, 1, 0,
                        String(credentials ? "user" : ""), String(credentials ? "pass" : ""));
    if (!service.SMTP_Connect(false)) return;
    if (!service.Start(String("a@b, c@d"), String("e@f"), String("g@h"), String("s"))) return;
    SMTPOutput output(nullptr, service.Connection(), 64, 1);
    output.Write("line\n.\n..x\r\nend", -1);
    service.Finish(&output);
}

void POP3Conversation(World& world) {
    POP3 pop(&world.application, world.run.vm(), &world.run.system(), String(""));
    if (pop.Connect("mail") != POP3::kDone || pop.Login(String("u"), String("p")) != POP3::kDone ||
        pop.GetStat() != POP3::kDone || pop.BuildMessageList() != POP3::kDone)
        return;
    for (int result = pop.GetFirstMessage(); result == POP3::kMore; result = pop.GetNextMessage()) {
        pop.DeleteMessage();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    // The file manager moves the working directory; libFuzzer's paths are
    // relative to the one it started in.
    FuzzDirectory::Session session;
    static World* world = new World();
    std::string replies(reinterpret_cast<const char*>(data + 2), size - 2);
    world->application.network.Serve("mail", replies, data[1] % 32 + 1);
    if (data[0] & 1)
        POP3Conversation(*world);
    else
        SMTPConversation(*world, data[0] & 2);
    for (const auto& entry : std::filesystem::directory_iterator(world->directory))
        std::filesystem::remove(entry.path());
    return 0;
}
