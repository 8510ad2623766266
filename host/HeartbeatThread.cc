#include "host/HeartbeatThread.h"

#include <csignal>

#include "application/OxinApplication.h"

HeartbeatThread* HeartbeatThread::running_heartbeat = nullptr;

namespace {

timespec beat_after(timespec from) {
    from.tv_sec += HeartbeatThread::kBeatSeconds;
    return from;
}

timespec now() {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

}  // namespace

HeartbeatThread::HeartbeatThread(OxinApplication* application)
    : application_(application), first_beat_(beat_after(now())) {
    running_heartbeat = this;
    pthread_mutex_init(&mutex_, nullptr);
}

void HeartbeatThread::Start() {
    if (!running_ && !shut_down_) Launch(first_beat_);
}

void HeartbeatThread::RestartAfterFork() {
    if (running_heartbeat && running_heartbeat->running_) {
        // The mutex is made anew: after a fork the thread that waited on it
        // does not exist, and its state is the parent's.
        pthread_mutex_init(&running_heartbeat->mutex_, nullptr);
        running_heartbeat->Launch(beat_after(now()));
    }
}

void HeartbeatThread::Launch(const timespec& first_beat) {
    first_beat_ = first_beat;
    pthread_mutex_lock(&mutex_);
    // The beat takes no signals: those of the web server reach the main
    // thread, where they interrupt whatever it waits for.
    sigset_t all, kept;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &kept);
    running_ = pthread_create(&thread_, nullptr, Run, this) == 0;
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);
    if (!running_) pthread_mutex_unlock(&mutex_);
}

HeartbeatThread::~HeartbeatThread() {
    if (running_heartbeat == this) running_heartbeat = nullptr;
    Shutdown();
    pthread_mutex_destroy(&mutex_);
}

void HeartbeatThread::Shutdown() {
    shut_down_ = true;
    if (!running_) return;
    running_ = false;
    pthread_mutex_unlock(&mutex_);
    pthread_join(thread_, nullptr);
}

void* HeartbeatThread::Run(void* self) {
    auto* heartbeat = static_cast<HeartbeatThread*>(self);
    timespec deadline = heartbeat->first_beat_;
    while (pthread_mutex_timedlock(&heartbeat->mutex_, &deadline) != 0) {
        heartbeat->application_->Heartbeat(time(nullptr));
        deadline.tv_sec += kBeatSeconds;
    }
    pthread_mutex_unlock(&heartbeat->mutex_);
    return nullptr;
}
