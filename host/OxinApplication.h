#pragma once

#include "base/StringClass.h"
#include "base/TextConversion.h"

class Config;
class ExternalLibraryManager;
class FileManager;

// The application as the engine's services see it: the owner of the request's
// managers and stores, the clock and the cancellation flags. The CGI host is
// its one concrete form; tests provide their own.
class OxinApplication : public TextConversion {
  public:
    OxinApplication() = default;
    virtual ~OxinApplication() = default;
    OxinApplication(const OxinApplication&) = delete;
    OxinApplication& operator=(const OxinApplication&) = delete;

    virtual FileManager* filemanager() = 0;
    // The shared libraries of the process.
    virtual ExternalLibraryManager* librarymanager() = 0;
    virtual Config* config() = 0;
    // The system's text for the current errno, or "Unknown error".
    virtual const char* lasterror() = 0;
    // True once the global deadline has passed or a termination signal came.
    virtual bool cancelled() { return cancelled_flag != 0; }
    virtual int processid() = 0;
    virtual int threadid() = 0;
    // The host name written into lock files: lock_hostname, else the
    // system's host name (then stored as lock_hostname).
    virtual const char* lockhostname() = 0;
    // Age in seconds at which a lock of another host is broken; 0 = never.
    virtual int lockexpiration() = 0;
    virtual void Sleep(int milliseconds) = 0;

    volatile unsigned heartbeat_count = 0;
    volatile int cancelled_flag = 0;
    volatile int post_timed_out = 0;
    volatile int finished_flag = 0;
};
