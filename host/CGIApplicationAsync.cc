// Asynchronous tasks: a forked child runs a clone of the machine from the
// task's code to its end, with no client, while the request goes on.
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>

#include "application/CGIOutput.h"
#include "application/NullOutput.h"
#include "files/File.h"
#include "host/CGIApplication.h"
#include "host/ExternalConfig.h"
#include "host/HeartbeatThread.h"
#include "runtime/OxinVM.h"

namespace {

// Forks with state_mutex held by the caller, so that the heartbeat thread
// cannot hold it at the moment of the fork, and with the termination
// signals blocked, whose handler takes the same mutex.
pid_t fork_quietly(pthread_mutex_t* mutex) {
    sigset_t blocked, kept;
    sigemptyset(&blocked);
    for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM})
        sigaddset(&blocked, number);
    pthread_sigmask(SIG_BLOCK, &blocked, &kept);
    pthread_mutex_lock(mutex);
    pid_t child = fork();
    if (child != 0) pthread_mutex_unlock(mutex);
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);
    return child;
}

// Descriptors 0, 1 and 2 are the client's connection and the server's
// log: the task lets go of them, so that the server sees the response end
// when the request's process ends. They are pointed at /dev/null rather
// than left closed, so that no file opened by the task takes their numbers
// and receives what the C library or a sanitizer writes to them.
void leave_the_client() {
    int null = open("/dev/null", O_RDWR);
    for (int descriptor = 0; descriptor <= 2; descriptor++) {
        if (null >= 0 && null != descriptor) {
            dup2(null, descriptor);
        } else if (null < 0) {
            close(descriptor);
        }
    }
    if (null > 2) close(null);
}

}  // namespace

int CGIApplication::BeginAsynchronousTask(OxinVM* vm) {
    int limit = config_ ? config_->value_integer(kConfigMaxAsyncTasks) : 0;
    if (async_child_) return kAsyncNested;
    if (limit > 0 && async_count_ >= limit) return kAsyncLimit;
    async_count_++;
    pid_t child = fork_quietly(&state_mutex_);
    if (child < 0) return kAsyncForkFailed;
    if (child > 0) return kAsyncStarted;
    BecomeTask();
    RunTask(vm);
    return kAsyncRan;
}

void CGIApplication::BecomeTask() {
    // The state mutex was held by this thread across the fork; the child
    // makes it and its condition anew rather than unlock what the parent's
    // thread locked, since the condition may hold the parent's waiters.
    pthread_mutex_init(&state_mutex_, nullptr);
    pthread_cond_init(&state_cond_, nullptr);
    leave_the_client();
    async_child_ = true;
    process_id_ = thread_id_ = getpid();
    SetSystemVariable("thread_id", static_cast<long>(thread_id_));
    SetSystemVariable("process_id", static_cast<long>(process_id_));
    ResetGlobalTimeout();
    HeartbeatThread::RestartAfterFork();
    // The response belongs to the request: its blocks go unsent.
    task_output_ = std::make_unique<NullOutput>();
    OxinApplication::SetOutput(task_output_.get());
    output_.reset();
}

void CGIApplication::RunTask(OxinVM* vm) {
    auto clone = std::make_unique<OxinVM>(this, *vm, &heartbeat_count, &cancelled_flag,
                                          &finished_flag);
    current_vm_ = clone.get();
    vm->ResetAsynchronousState();
    clone->Go();
    clone.reset();
    finished_flag = 1;
    current_vm_ = vm;
}

void CGIApplication::AsynchronousSleep(long until, int type, const char* path) {
    if (!async_child_) return;
    bool watching = path && *path;
    time_t noted = 0;
    if (watching && !files_.ModifiedTime(static_cast<Oxin_PathType>(type), path, &noted)) return;
    timespec wake = {static_cast<time_t>(until), 0};
    pthread_mutex_lock(&state_mutex_);
    long remaining = global_deadline > 0 ? global_deadline - time(nullptr) : -1;
    int limit = config_ ? config_->value_integer(kConfigTimeoutAsyncSleep) : 0;
    global_deadline = limit > 0 ? time(nullptr) + limit : 0;
    cancelled_flag = 0;
    while (!cancelled_flag) {
        if (pthread_cond_timedwait(&state_cond_, &state_mutex_, &wake) != 0) break;
        time_t modified = 0;
        if (watching && files_.ModifiedTime(static_cast<Oxin_PathType>(type), path, &modified) &&
            modified > noted)
            break;
        if (current_vm_) current_vm_->Heartbeat();
    }
    if (!cancelled_flag) global_deadline = remaining >= 0 ? time(nullptr) + remaining - 1 : 0;
    pthread_mutex_unlock(&state_mutex_);
}

const char* CGIApplication::process_name() {
    return argc_ > 0 && argv_ ? argv_[0] : "";
}

void CGIApplication::SetProcessName(const char* name, int length) {
    if (argc_ <= 0 || !argv_ || argument_area_ <= 0) return;
    if (length < 0) length = static_cast<int>(strlen(name));
    if (length > argument_area_ - 1) length = argument_area_ - 1;
    memcpy(argv_[0], name, static_cast<size_t>(length));
    memset(argv_[0] + length, 0, static_cast<size_t>(argument_area_ - length));
    argc_ = 1;
}
