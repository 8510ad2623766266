#pragma once

#include <atomic>

#include "application/LogParameter.h"
#include "base/List.h"
#include "base/StringClass.h"
#include "base/TextConversion.h"

class CommerceLibraryManager;
class Config;
class ExternalDatabaseLibraryManager;
class ExternalLibraryManager;
class FileManager;
class LibraryNames;
class NetworkManager;
class OpenSSLLibrary;
class Output;
class OxinVM;
class SystemLibraryManager;
class UFCrypt;

// The application as the engine's services see it: the owner of the request's
// managers and stores, the clock and the cancellation flags. The CGI host is
// its one concrete form; tests provide their own.
class OxinApplication : public TextConversion {
  public:
    OxinApplication();
    virtual ~OxinApplication();
    OxinApplication(const OxinApplication&) = delete;
    OxinApplication& operator=(const OxinApplication&) = delete;

    virtual FileManager* filemanager() = 0;
    // Makes the outgoing connections; null where the host has none.
    virtual NetworkManager* networkmanager() { return nullptr; }
    // The shared libraries of the process.
    virtual ExternalLibraryManager* librarymanager() = 0;
    // The database types that libraries supply; null where the host has none.
    virtual ExternalDatabaseLibraryManager* databasemanager() { return nullptr; }
    // The commerce libraries that the configuration registered; null where
    // the application has none.
    virtual CommerceLibraryManager* commercemanager() { return nullptr; }
    // The system libraries that the configuration registered; null where
    // the application has none.
    virtual SystemLibraryManager* systemlibrarymanager() { return nullptr; }
    // Kinds of registered libraries, as librarynames takes them.
    enum LibraryKind { kCommerceLibraries = 0, kDatabaseLibraries = 1, kSystemLibraries = 2 };
    // The names of the registered libraries of kind (a LibraryKind), or null
    // where the application has no manager of that kind.
    virtual LibraryNames* librarynames(int) { return nullptr; }
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
    // The system's host name, as mail greets its server with.
    virtual const char* hostname() const { return hostname_; }
    // Local time as "%a, %d %b %Y %H:%M:%S +HH00" in a new string (new[]),
    // the zone in whole hours.
    virtual char* currentdate(int* length);
    // The effective user id in decimal, made once.
    virtual const char* GetUserID();
    // The host name written into lock files: lock_hostname, else the
    // system's host name (then stored as lock_hostname).
    virtual const char* lockhostname() = 0;
    // Age in seconds at which a lock of another host is broken; 0 = never.
    virtual int lockexpiration() = 0;
    virtual void Sleep(int milliseconds) = 0;

    // Where scripts print now; null when nothing takes output.
    virtual Output* output() { return output_; }
    // Makes next (not owned) the output that scripts print to, with the
    // flags of the present one; returns the present one.
    virtual Output* SetOutput(Output* next);
    // The traditional crypt(3) hash of key under the first two characters
    // of salt: a new 14-byte buffer holding 13 characters and a NUL.
    virtual char* Crypt(const char* key, int key_length, const char* salt, int* length, int* size);
    // Shows an error message to the user, through OutputError.
    virtual void Error(const String& text) { OutputError(text.c_str(), text.length()); }
    virtual void Error(const char* text);
    // Writes error text to the output and flushes it; nothing without one.
    virtual void OutputError(const char* text, int length);

    // One beat of the clock: counts it and raises the flags of the
    // deadlines that now lies past.
    virtual void Heartbeat(long now);
    // Starts the script's time limit from now; nothing here.
    virtual void ResetGlobalTimeout() {}
    // Starts the time limit of reading the POST body from now.
    virtual void ResetPOSTTimeout();
    virtual void ClearPOSTTimeout();
    // Seconds left before the global deadline (may be negative); -1 when
    // there is none.
    virtual long TimeRemaining();

    // The request's language, default language, default database type and
    // character set. Each setter counts its calls, so that readers can
    // cache what they derive from the value.
    virtual const String& language() { return language_; }
    virtual int languagecount() { return languagecount_; }
    virtual const String& defaultlanguage() { return defaultlanguage_; }
    virtual int defaultlanguagecount() { return defaultlanguagecount_; }
    virtual const String& defaultdatabase() { return defaultdatabase_; }
    virtual int defaultdatabasecount() { return defaultdatabasecount_; }
    virtual const String& charset() { return charset_; }
    virtual int charsetcount() { return charsetcount_; }
    virtual void SetLanguage(const char* text, int length);
    virtual void SetDefaultLanguage(const char* text, int length);
    virtual void SetDefaultDatabase(const char* text, int length);
    virtual void SetCharacterSet(const char* text, int length);
    virtual bool CharacterSetIsUTF8() { return charset_is_utf8_; }
    // Whether TLS can be used: at once when the client context exists,
    // otherwise as SSL_Initialize answers. The reason goes to *error (when
    // given) when not.
    virtual bool SSL_Available(String* error);
    // Loads OpenSSL and builds the client context; a later call resumes a
    // load that failed. False with the reason in *error (when given).
    virtual bool SSL_Initialize(String* error) = 0;
    // The address of an OpenSSL function by name, loading OpenSSL first;
    // null when it can't be had. The road of extensions to OpenSSL.
    virtual void* SSL_GetFunction(const char* name) = 0;
    // The OpenSSL functions and context, through which the network code
    // calls; valid once SSL_Available said yes.
    virtual OpenSSLLibrary* openssl() = 0;
    // The name the process shows; empty here.
    virtual const char* process_name() { return ""; }
    // Shows name (length -1: up to the NUL) as the process's name, where
    // the host can; nothing here.
    virtual void SetProcessName(const char*, int) {}

    // Results of BeginAsynchronousTask.
    enum AsyncResult {
        kAsyncStarted = 0,      // in the parent: the task runs in a child
        kAsyncRan = 1,          // in the child: the task has run to its end
        kAsyncForkFailed = 2,   // no child could be made
        kAsyncUnsupported = 3,  // this application has no tasks
        kAsyncLimit = 4,        // max_async_tasks are started already
        kAsyncNested = 5,       // a task starts no task
    };
    // Runs the rest of vm's code as a background task that outlives the
    // request; see AsyncResult. Unsupported here.
    virtual int BeginAsynchronousTask(OxinVM*) { return kAsyncUnsupported; }
    // In a task: sleeps until the time until (seconds since the epoch), or
    // until the file path (may be null) of path type type (an
    // Oxin_PathType) changes, or until cancelled. Nothing here.
    virtual void AsynchronousSleep(long, int, const char*) {}

    // The log. Replaces the include and exclude lists by the entries of a
    // filter such as "main.oxc:10-20, !lib.oxc".
    virtual void ParseLogFilter(const char* text);
    // Writes one record of kind with parameters (closed by kEnd); nothing
    // here. Callers test the kind against their mask and LogMatchesFilter.
    virtual void Log(unsigned kind, LogParameter* parameters);
    // The text that names a kind in a record; "Unknown" for no kind.
    virtual const char* Log_Description(unsigned kind);
    // Whether an event at line of source file (length bytes) is to be
    // logged: not suppressed, in no exclude entry, and in an include entry
    // when there are any.
    bool LogMatchesFilter(const char* file, int length, int line);
    // Set when the request is not to be logged at all (a log cookie was
    // configured and the request did not bring it).
    bool log_suppressed = false;
    List<LogFilterEntry> log_include{1};
    List<LogFilterEntry> log_exclude{1};

    // Shared between the main thread, the heartbeat thread and signal
    // handlers. The machine reads the flags without a lock: a stale value
    // only delays a stop by one instruction.
    std::atomic<unsigned> heartbeat_count{0};
    std::atomic<int> cancelled_flag{0};
    std::atomic<int> post_timed_out{0};
    std::atomic<int> finished_flag{0};
    std::atomic<long> global_deadline{0};  // seconds since the epoch; 0: none
    std::atomic<long> post_deadline{0};

  private:
    String language_{"en-US"};
    int languagecount_ = 1;
    String defaultlanguage_{"en-US"};
    int defaultlanguagecount_ = 1;
    String defaultdatabase_{"xbase3"};
    int defaultdatabasecount_ = 1;
    String charset_{"utf-8"};
    int charsetcount_ = 1;
    bool charset_is_utf8_ = true;
    Output* output_ = nullptr;
    UFCrypt* crypt_ = nullptr;
    char hostname_[256] = {};
    char userid_[24] = {};
};
