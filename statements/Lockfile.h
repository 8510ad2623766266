#pragma once

#include "base/StringClass.h"
#include "runtime/Feature.h"

// One open OxLOCKFILE: a cross-process lock file in the data directory,
// named after the given name with ".lck" behind it, held from Lock() until
// the object is deleted. While held, each heartbeat touches the file so
// that other processes see its holder as alive.
class Lockfile : public Feature {
  public:
    // The lock of name (length bytes) in the data directory; not yet taken.
    Lockfile(OxinApplication* application, OxinVM* vm, const char* name, int length);
    // Releases the lock when held, retrying a failing removal for as long
    // as timeout_file allows, unless the request is being stopped.
    ~Lockfile() override;

    // Touches the lock file while the lock is held.
    void Heartbeat() override;
    void Error(const String& text) override { Feature::Error(text); }
    // Sets the error text; false.
    virtual bool Error(const char* text, int length);

    // Prepares the lock. Always true.
    virtual bool Start();
    // Takes the lock, waiting for another holder. False with the reason in
    // error(): a time-out, a refused path, or a lock that this process
    // already holds (which waiting would never end).
    virtual bool Lock();
    // Ends the statement; the lock goes with the object. Always true.
    virtual bool End();

    const String& lockname() const { return lockname_; }
    bool locked() const { return locked_; }

  private:
    void Release();

    String lockname_;
    bool locked_ = false;
};
