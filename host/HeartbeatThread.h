#pragma once

#include <pthread.h>

class OxinApplication;

// The second thread of a request: it beats every 5 seconds, calling the
// application's Heartbeat, which raises the flags of passed deadlines that
// the machine polls. A mutex held by the main thread serves as its sleep,
// so that Shutdown wakes and ends it at once.
class HeartbeatThread {
  public:
    static constexpr int kBeatSeconds = 5;

    // Starts beating.
    explicit HeartbeatThread(OxinApplication* application);
    // Shuts the thread down if that was not done.
    ~HeartbeatThread();
    HeartbeatThread(const HeartbeatThread&) = delete;
    HeartbeatThread& operator=(const HeartbeatThread&) = delete;

    // Wakes the thread, waits for it to end.
    void Shutdown();

    // In a child made by fork, which has no beating thread: the heartbeat
    // of the process starts again with a new thread, which the child's own
    // Shutdown ends. Nothing when there is no heartbeat.
    static void RestartAfterFork();

  private:
    static void* Run(void* self);
    void Start();

    // The heartbeat of the process, for RestartAfterFork.
    static HeartbeatThread* running_heartbeat;

    OxinApplication* application_;
    pthread_mutex_t mutex_;
    pthread_t thread_;
    bool running_ = false;
};
