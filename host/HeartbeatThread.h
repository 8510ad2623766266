#pragma once

#include <pthread.h>

#include <ctime>

class OxinApplication;

// The second thread of a request: it beats every 5 seconds, calling the
// application's Heartbeat, which raises the flags of passed deadlines that
// the machine polls. A mutex held by the main thread serves as its sleep,
// so that Shutdown wakes and ends it at once.
//
// The beats are counted from the heartbeat's construction, but the thread
// is made only when Start is called: until then the process has one thread,
// and changing its user does not have to be passed on to another.
class HeartbeatThread {
  public:
    static constexpr int kBeatSeconds = 5;

    // The heartbeat of application, not yet beating.
    explicit HeartbeatThread(OxinApplication* application);
    // Shuts the thread down if that was not done.
    ~HeartbeatThread();
    HeartbeatThread(const HeartbeatThread&) = delete;
    HeartbeatThread& operator=(const HeartbeatThread&) = delete;

    // Starts beating, on the schedule counted from construction: beats
    // that fell before the start come at once. Nothing when it beats
    // already or was shut down.
    void Start();

    // Wakes the thread, waits for it to end; no thread starts after it.
    void Shutdown();

    // In a child made by fork, which has no beating thread: the heartbeat
    // of the process starts again with a new thread, its first beat 5
    // seconds from now, which the child's own Shutdown ends. Nothing when
    // there is no heartbeat.
    static void RestartAfterFork();

  private:
    static void* Run(void* self);
    void Launch(const timespec& first_beat);

    // The heartbeat of the process, for RestartAfterFork.
    static HeartbeatThread* running_heartbeat;

    OxinApplication* application_;
    pthread_mutex_t mutex_;
    pthread_t thread_;
    timespec first_beat_;
    bool running_ = false;
    bool shut_down_ = false;
};
