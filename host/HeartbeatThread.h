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

  private:
    static void* Run(void* self);

    OxinApplication* application_;
    pthread_mutex_t mutex_;
    pthread_t thread_;
    bool running_ = false;
};
