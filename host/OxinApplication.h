#pragma once

#include "base/StringClass.h"
#include "base/TextConversion.h"

class Config;
class ExternalLibraryManager;
class FileManager;
class Output;
class UFCrypt;

// The application as the engine's services see it: the owner of the request's
// managers and stores, the clock and the cancellation flags. The CGI host is
// its one concrete form; tests provide their own.
class OxinApplication : public TextConversion {
  public:
    OxinApplication() = default;
    virtual ~OxinApplication();
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
    // Stops the script at its next instruction, as a time-out does: the
    // client went away or the process is told to end.
    virtual void Cancelled() { cancelled_flag = 1; }
    virtual int processid() = 0;
    virtual int threadid() = 0;
    // The host name written into lock files: lock_hostname, else the
    // system's host name (then stored as lock_hostname).
    virtual const char* lockhostname() = 0;
    // Age in seconds at which a lock of another host is broken; 0 = never.
    virtual int lockexpiration() = 0;
    virtual void Sleep(int milliseconds) = 0;

    // Where scripts print now; null when nothing takes output.
    virtual Output* output() { return output_; }
    // Makes output (not owned) the one that scripts print to.
    virtual void SetOutput(Output* output) { output_ = output; }
    // The traditional crypt(3) hash of key under the first two characters
    // of salt: a new 14-byte buffer holding 13 characters and a NUL.
    virtual char* Crypt(const char* key, int key_length, const char* salt, int* length, int* size);
    // Shows an error message to the user, through OutputError.
    virtual void Error(const String& text) { OutputError(text.c_str(), text.length()); }
    virtual void Error(const char* text);
    // Writes error text to the output and flushes it; nothing without one.
    virtual void OutputError(const char* text, int length);

    volatile unsigned heartbeat_count = 0;
    volatile int cancelled_flag = 0;
    volatile int post_timed_out = 0;
    volatile int finished_flag = 0;

  private:
    Output* output_ = nullptr;
    UFCrypt* crypt_ = nullptr;
};
