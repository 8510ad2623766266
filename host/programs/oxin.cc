// oxin: the engine, run by a web server as a CGI program once per request.
#include <csignal>

#include "host/CGIApplication.h"
#include "host/HeartbeatThread.h"

namespace {

CGIApplication* application = nullptr;

// The client went away or the server wants the process to end: the script
// stops as on a time-out.
void abort_signal(int) {
    if (application) application->Cancelled();
}

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};

}  // namespace

#if defined(__SANITIZE_THREAD__)
// A background task is a fork of this two-threaded process that starts its
// own heartbeat thread; ThreadSanitizer ends such a child unless told not
// to. Web servers do not hand their environment to the engine, so the
// setting is built in.
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}
#endif

int main(int argc, char** argv) {
    application = new CGIApplication(argc, argv);
    for (int number : kSignals)
        signal(number, abort_signal);
    HeartbeatThread heartbeat(application);
    application->set_heartbeat(&heartbeat);
    int status = application->Go();
    heartbeat.Shutdown();
    for (int number : kSignals)
        signal(number, SIG_IGN);
    CGIApplication* ended = application;
    application = nullptr;
    delete ended;
    return status;
}
