#include "host/CGIApplication.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "application/CGIOutput.h"
#include "application/OpenSSLLibrary.h"
#include "base/SessionID.h"
#include "database/ExternalDatabase.h"
#include "database/XBaseDatabase.h"
#include "extensions/CommerceLibraryManager.h"
#include "extensions/ExternalCallManager.h"
#include "extensions/SystemLibraryManager.h"
#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "host/ExternalConfig.h"
#include "host/HeartbeatThread.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "statements/Statements.h"
#include "variables/SystemVariableHash.h"
#include "variables/VariableHash.h"

namespace {

std::unique_ptr<char[]> copy_of(const char* text) {
    size_t length = strlen(text);
    auto copy = std::make_unique<char[]>(length + 1);
    memcpy(copy.get(), text, length + 1);
    return copy;
}

// Web servers escape characters of command-line query arguments with
// backslashes.
void strip_backslashes(char* text) {
    char* to = text;
    for (const char* from = text; *from; from++) {
        if (*from != '\\') *to++ = *from;
    }
    *to = '\0';
}

}  // namespace

CGIApplication::CGIApplication(int argc, char** argv)
    : files_(this),
      openssl_(std::make_unique<OpenSSLLibrary>()),
      network_(this),
      argc_(argc),
      argv_(argv),
      process_id_(getpid()),
      thread_id_(process_id_),
      effective_uid_(static_cast<int>(geteuid())),
      path_info_(getenv("PATH_INFO")),
      query_string_(getenv("QUERY_STRING")) {
    output_ = std::make_unique<CGIOutput>(this);
    OxinApplication::SetOutput(output_.get());
    for (int i = 0; i < argc; i++) {
        argument_copies_.push_back(copy_of(argv[i]));
        argument_area_ += static_cast<int>(strlen(argv[i])) + 1;
        if (i > 0) strip_backslashes(argument_copies_.back().get());
        arguments_.push_back(argument_copies_.back().get());
    }
    const char* program = argc > 0 ? arguments_[0] : "oxin";
    const char* slash = strrchr(program, '/');
    basename_ = slash ? slash + 1 : program;
    if (!getcwd(working_directory_, sizeof working_directory_)) strcpy(working_directory_, ".");
    pthread_mutex_init(&state_mutex_, nullptr);
    pthread_cond_init(&state_cond_, nullptr);
    gethostname(hostname_, sizeof hostname_ - 1);
    Register_Statements();
    XBaseDatabase::Register();
    ExternalDatabase::Register();
}

CGIApplication::~CGIApplication() {
    pthread_cond_destroy(&state_cond_);
    pthread_mutex_destroy(&state_mutex_);
    // The output goes without a flush: only what was flushed reaches the
    // client.
    OxinApplication::SetOutput(nullptr);
}

Config* CGIApplication::config() {
    return config_.get();
}

bool CGIApplication::SSL_Initialize(String* error) {
    return openssl_->Initialize(config_.get(), error);
}

void* CGIApplication::SSL_GetFunction(const char* name) {
    return SSL_Available(nullptr) ? openssl_->GetFunction(name) : nullptr;
}

const char* CGIApplication::lasterror() {
    const char* text = strerror(errno);
    return text && *text ? text : "Unknown error";
}

const char* CGIApplication::lockhostname() {
    const char* name = config_ ? config_->value_string(kConfigLockHostname, nullptr) : nullptr;
    if (name && *name) return name;
    if (config_) {
        int length = static_cast<int>(strlen(hostname_));
        char* copy = new char[length + 1];
        memcpy(copy, hostname_, length + 1);
        config_->SetValue(kConfigLockHostname, copy, length, 1);
    }
    return hostname_;
}

int CGIApplication::lockexpiration() {
    return config_ ? config_->value_integer(kConfigLockExpiration) : 90;
}

void CGIApplication::Cancelled() {
    interrupted_ = true;
    pthread_mutex_lock(&state_mutex_);
    if (!cancelled_flag) {
        cancelled_flag = 1;
        pthread_cond_broadcast(&state_cond_);
    }
    pthread_mutex_unlock(&state_mutex_);
}

void CGIApplication::Heartbeat(long now) {
    pthread_mutex_lock(&state_mutex_);
    OxinApplication::Heartbeat(now);
    pthread_cond_broadcast(&state_cond_);
    pthread_mutex_unlock(&state_mutex_);
}

void CGIApplication::ResetGlobalTimeout() {
    pthread_mutex_lock(&state_mutex_);
    int limit =
        config_ ? config_->value_integer(async_child_ ? kConfigTimeoutAsync : kConfigTimeoutGlobal)
                : 0;
    global_deadline = limit > 0 ? time(nullptr) + limit : 0;
    cancelled_flag = 0;
    pthread_mutex_unlock(&state_mutex_);
}

void CGIApplication::Sleep(int milliseconds) {
    timeval now;
    gettimeofday(&now, nullptr);
    long nanoseconds = now.tv_usec * 1000L + (milliseconds % 1000) * 1000000L;
    timespec until = {now.tv_sec + milliseconds / 1000 + nanoseconds / 1000000000L,
                      nanoseconds % 1000000000L};
    pthread_mutex_lock(&state_mutex_);
    while (!cancelled_flag) {
        if (pthread_cond_timedwait(&state_cond_, &state_mutex_, &until) != 0) break;
        if (current_vm_) current_vm_->Heartbeat();
    }
    pthread_mutex_unlock(&state_mutex_);
}

void CGIApplication::OutputError(const char* text, int length) {
    if (!headers_started_) OutputHeaders();
    // A task has no CGI output: its errors go where its output goes.
    Output* target = output_ ? output_.get() : output();
    if (target) target->Write_Error(text, length);
}

void CGIApplication::ConfigurationError(const String& text) {
    String message("Configuration Error: ");
    message.cat(text.c_str(), text.length());
    message.cat("<br>");
    int length = 0;
    const char* admin = config_ ? config_->value_string(kConfigInfoServeradmin, &length) : nullptr;
    if (admin) {
        message.cat("Please contact the server administrator: ");
        message.cat(admin, length);
    }
    OutputError(message.c_str(), message.length());
}

// The system's random bytes, for session ids that cannot be guessed.
static bool system_random(unsigned char* out, int count) {
    return getrandom(out, static_cast<size_t>(count), 0) == count;
}

char* CGIApplication::MakeSessionID(int* length) {
    timeval now;
    gettimeofday(&now, nullptr);
    return MakeSessionIDFrom(hostname_, process_id_, now.tv_sec, now.tv_usec, system_random,
                             length);
}

bool CGIApplication::LoadConfiguration() {
    String path(working_directory_);
    path.cat("/liboxinconfig.so");
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        const char* named = getenv("OxCONFIG_LIBRARY");
        if (!named || stat(named, &status) != 0) {
            ConfigurationError(String(
                "Error loading configuration library: Unable to locate/load liboxinconfig.so"));
            return false;
        }
        path = String(named);
    }
    if (status.st_uid != 0 && static_cast<int>(status.st_uid) != effective_uid_) {
        ConfigurationError(String("Error loading configuration library: UID mismatch"));
        return false;
    }
    if (!config_->Load(path.c_str(), 0, arguments_.data(), argc_)) {
        String message("Error loading configuration library: ");
        message.cat(config_->error().c_str(), config_->error().length());
        ConfigurationError(message);
        return false;
    }
    return true;
}

bool CGIApplication::CheckConfiguration() {
    const char* root = config_->value_string(kConfigDirOxin, nullptr);
    if (!root) {
        ConfigurationError(String("oxinroot is not defined"));
        return false;
    }
    const char* temporary = config_->value_string(kConfigDirTemp, nullptr);
    if (temporary && !files_.InitializeTempDirectory(temporary)) {
        ConfigurationError(files_.error());
        return false;
    }
    return true;
}

bool CGIApplication::ProcessConfiguration(const String& path) {
    const char* data = config_->value_string(kConfigDirData, nullptr);
    const char* log_file = config_->value_string(kConfigLogFile, nullptr);
    const char* log_filter = config_->value_string(kConfigLogFilter, nullptr);
    const char* log_cookie = config_->value_string(kConfigLogCookie, nullptr);
    if (!data) {
        ConfigurationError(String("No data directory is defined"));
        return false;
    }
    if (!files_.InitializeDataDirectory(data)) {
        ConfigurationError(files_.error());
        return false;
    }
    if (effective_uid_ == 0) {
        if (script_owner_uid_ == 0) {
            String message("'");
            message.cat(path.c_str(), path.length());
            message.cat("' is owned by root");
            Error(message);
            return false;
        }
        if (!SwitchToScriptOwner()) {
            Error("Unable to switch to user mode");
            return false;
        }
    }
    ConfigureLog(log_filter, log_cookie, log_file);
    output_->Set_BufferSize(config_->value_integer(kConfigBufszOutput));
    output_->Set_FlushSize(config_->value_integer(kConfigBufszOutputFlush));
    return true;
}

// Root's groups must go before root's user id does, or the script keeps the
// rights of group 0 and of every supplementary group of the starting user.
// The script runs with its owner's primary group and no others.
bool CGIApplication::SwitchToScriptOwner() {
    const passwd* owner = getpwuid(static_cast<uid_t>(script_owner_uid_));
    if (!owner) return false;
    gid_t group = owner->pw_gid;
    return setgroups(0, nullptr) == 0 && setgid(group) == 0 &&
           setuid(static_cast<uid_t>(script_owner_uid_)) == 0;
}

LibraryNames* CGIApplication::librarynames(int kind) {
    if (kind == kCommerceLibraries) return commerce_.get();
    if (kind == kSystemLibraries) return systems_.get();
    if (kind == kDatabaseLibraries) return &databases_;
    return nullptr;
}

int CGIApplication::Go() {
    String path;
    srand(static_cast<unsigned>(time(nullptr)));
    dictionary_ = std::make_unique<Dictionary>();
    system_ = std::make_unique<SystemVariableHash>(dictionary_.get(), 12, 512);
    global_ = std::make_unique<VariableHash>(dictionary_.get(), 12, 512);
    segments_ = std::make_unique<SegmentManager>();
    functions_ = std::make_unique<FunctionManager>(dictionary_.get(), 8);
    auto tagged = std::make_unique<TaggedFile>(&files_);
    languages_ = std::make_unique<LocalizedLanguages>(this, dictionary_.get(), tagged.get(), 12, 8);
    pieces_ = std::make_unique<LocalizedDictionary>();
    externals_ = std::make_unique<ExternalCallManager>(this);
    commerce_ = std::make_unique<CommerceLibraryManager>(this);
    systems_ = std::make_unique<SystemLibraryManager>(this);
    config_ = std::make_unique<ExternalConfig>(this, externals_.get(), commerce_.get(), &databases_,
                                               systems_.get(), system_.get(), global_.get());
    output_->SetConfig(config_.get());

    int status = 1;
    File* file = nullptr;
    if (LoadConfiguration() && CheckConfiguration()) {
        files_.MaxFiles(config_->value_integer(kConfigMaxFiles));
        files_.SecurityOptions(config_->value_integer(kConfigFlagsSecurity));
        if (GetScriptInformation(&file, path) &&
            LoadScript(std::unique_ptr<File>(file), tagged.get(), path) &&
            ProcessConfiguration(path)) {
            if (heartbeat_) heartbeat_->Start();
            main_vm_ = std::make_unique<OxinVM>(
                path.c_str(), path.length(), this, dictionary_.get(), system_.get(), global_.get(),
                segments_.get(), functions_.get(), externals_.get(), commerce_.get(), nullptr,
                languages_.get(), pieces_.get(), &heartbeat_count, &cancelled_flag, &finished_flag,
                nullptr);
            current_vm_ = main_vm_.get();
            tagged->Deactivate();
            config_->AddVariables();
            if (AddEnvironmentVariables() && AddSystemVariables() && AddQueryArguments() &&
                AddQueryVariables() && AddAPIVariables()) {
                OutputHeaders();
                if (ProcessPOSTedData()) {
                    ResetGlobalTimeout();
                    main_vm_->Go();
                    if (output_) output_->Flush(1);
                    status = 0;
                }
            }
        }
    }
    main_vm_.reset();
    current_vm_ = nullptr;
    return status;
}
