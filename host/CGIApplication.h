#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>
#include <vector>

#include "application/OxinApplication.h"
#include "extensions/ExternalDatabaseLibraryManager.h"
#include "extensions/UNIXExternalLibraryManager.h"
#include "files/UNIXFileManager.h"
#include "network/UNIXNetworkManager.h"

class CGIOutput;
class CommerceLibraryManager;
class Output;
class Dictionary;
class ExternalCallManager;
class ExternalConfig;
class File;
class FunctionManager;
class HeartbeatThread;
class LocalizedDictionary;
class LocalizedLanguages;
class OpenSSLLibrary;
class OxinVM;
class SegmentManager;
class SystemLibraryManager;
class TaggedFile;
class UFCrypt;
class VariableHash;

// The application of one CGI request: from the environment, the arguments
// and the body on descriptor 0 it finds and loads the script, builds the
// variables the script sees, runs it, and sends the response on descriptor
// 1. Every failure before the script runs reaches the client as text.
class CGIApplication : public OxinApplication {
  public:
    CGIApplication(int argc, char** argv);
    ~CGIApplication() override;

    // The whole request. 0 when the script ran (even into a fatal error),
    // 1 when something stopped it before.
    int Go();
    // The heartbeat that Go starts once the script's user is taken, before
    // the script runs; none by default.
    void set_heartbeat(HeartbeatThread* heartbeat) { heartbeat_ = heartbeat; }

    FileManager* filemanager() override { return &files_; }
    NetworkManager* networkmanager() override { return &network_; }
    ExternalLibraryManager* librarymanager() override { return &libraries_; }
    ExternalDatabaseLibraryManager* databasemanager() override { return &databases_; }
    CommerceLibraryManager* commercemanager() override { return commerce_.get(); }
    SystemLibraryManager* systemlibrarymanager() override { return systems_.get(); }
    LibraryNames* librarynames(int kind) override;
    Config* config() override;
    bool SSL_Initialize(String* error) override;
    void* SSL_GetFunction(const char* name) override;
    OpenSSLLibrary* openssl() override { return openssl_.get(); }
    const char* lasterror() override;
    int processid() override { return process_id_; }
    int threadid() override { return thread_id_; }
    const char* lockhostname() override;
    int lockexpiration() override;
    void Sleep(int milliseconds) override;
    void Cancelled() override;
    void Heartbeat(long now) override;
    void ResetGlobalTimeout() override;
    void OutputError(const char* text, int length) override;
    // One record to the log file, in one write; nothing when no log is open.
    void Log(unsigned kind, LogParameter* parameters) override;

    // Asynchronous tasks (CGIApplicationAsync.cc).
    // Forks a child that runs a clone of vm from its position to its end,
    // with no client and timeout_async as its limit, while the request goes
    // on; at most max_async_tasks (0: no limit) per request, none from a
    // task.
    int BeginAsynchronousTask(OxinVM* vm) override;
    void AsynchronousSleep(long until, int type, const char* path) override;
    // The process's own argument area, which SetProcessName overwrites.
    const char* process_name() override;
    void SetProcessName(const char* name, int length) override;

    // "Configuration Error: " + text + "<br>", with the administrator's
    // address when one is configured.
    virtual void ConfigurationError(const String& text);
    // The session id of the caller id cookie: 32 hexadecimal digits.
    char* MakeSessionID(int* length);
    const char* hostname() const override { return hostname_; }
    const char* basename() const { return basename_; }
    OxinVM* current_vm() const { return current_vm_; }

    // Content-Type and the caller id cookie; the headers go out at the
    // first flush. Runs once.
    void OutputHeaders();

  private:
    bool LoadConfiguration();
    bool CheckConfiguration();
    bool GetScriptInformation(File** file, String& path);
    bool LoadScript(std::unique_ptr<File> file, TaggedFile* tagged, const String& path);
    bool ProcessConfiguration(const String& path);
    // The log's settings: the filter, the cookie that the request must bring
    // (log_suppressed when it does not), and the file, which is opened for
    // appending in the data directory. A log that can't be opened is off.
    void ConfigureLog(const char* filter, const char* cookie, const char* file);
    // Suppresses the log unless the request's "oxinlogcookie" cookie has
    // the value expected.
    void ProcessLogCookie(const char* expected);
    // Drops every group of the starting user and takes the script owner's
    // user id and primary group; false when any step fails.
    bool SwitchToScriptOwner();
    bool AddEnvironmentVariables();
    bool AddSystemVariables();
    bool AddQueryArguments();
    bool AddQueryVariables();
    bool AddAPIVariables();
    bool OutputCookie();
    bool ProcessPOSTedData();
    enum class BodyWait { kReady, kTimedOut, kInterrupted };
    // Until descriptor 0 has bytes (or an end or error to read), the POST
    // deadline passes, or a signal cancels the request.
    BodyWait WaitForBody();
    // Sets system variable name to value (-1: measure).
    void SetSystemVariable(const char* name, const char* value, int length = -1);
    void SetSystemVariable(const char* name, long value);
    // Turns an argument or query piece into arg<n>; false when it is empty.
    bool AddArgument(const char* piece, int length, int* number);
    // The child's half of BeginAsynchronousTask: no client, its own ids,
    // clock and heartbeat, then the task run on a clone of vm.
    void BecomeTask();
    void RunTask(OxinVM* vm);

    UNIXFileManager files_;
    UNIXExternalLibraryManager libraries_;
    ExternalDatabaseLibraryManager databases_{this};
    // OpenSSL goes after everything that holds a connection.
    std::unique_ptr<OpenSSLLibrary> openssl_;
    UNIXNetworkManager network_;
    int argc_;
    char** argv_;
    // Bytes of all the arguments with their terminators, from argv_[0] on.
    int argument_area_ = 0;
    // Private copies of the arguments, backslashes removed from 1 on, and
    // the vector of them.
    std::vector<std::unique_ptr<char[]>> argument_copies_;
    std::vector<char*> arguments_;
    String first_argument_;
    char working_directory_[512];
    int process_id_;
    int thread_id_;
    int effective_uid_;
    int script_owner_uid_ = 0;
    pthread_mutex_t state_mutex_;
    pthread_cond_t state_cond_;
    const char* basename_;
    char hostname_[256] = {};
    const char* path_info_;
    const char* query_string_;
    bool headers_started_ = false;
    bool async_child_ = false;
    int async_count_ = 0;
    // A task's output, which goes nowhere.
    std::unique_ptr<Output> task_output_;
    // Set by Cancelled, from a signal or a failed write: unlike
    // cancelled_flag it is not raised by a deadline nor cleared by a reset.
    std::atomic<bool> interrupted_{false};
    std::unique_ptr<OxinVM> main_vm_;
    // The log; null when none is open. It goes before the file manager.
    std::unique_ptr<File> log_file_;
    OxinVM* current_vm_ = nullptr;
    HeartbeatThread* heartbeat_ = nullptr;

    // The stores and managers of the request, made in Go. They go in the
    // reverse of this order: the configuration first, the output and the
    // dictionary last.
    std::unique_ptr<CGIOutput> output_;
    std::unique_ptr<Dictionary> dictionary_;
    std::unique_ptr<VariableHash> global_;
    std::unique_ptr<VariableHash> system_;
    std::unique_ptr<LocalizedDictionary> pieces_;
    std::unique_ptr<LocalizedLanguages> languages_;
    std::unique_ptr<SegmentManager> segments_;
    std::unique_ptr<FunctionManager> functions_;
    std::unique_ptr<ExternalCallManager> externals_;
    std::unique_ptr<CommerceLibraryManager> commerce_;
    std::unique_ptr<SystemLibraryManager> systems_;
    std::unique_ptr<ExternalConfig> config_;
};
