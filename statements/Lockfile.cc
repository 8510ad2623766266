#include "statements/Lockfile.h"

#include "application/Config.h"
#include "application/ConfigKeys.h"
#include "application/OxinApplication.h"
#include "files/FileManager.h"

Lockfile::Lockfile(OxinApplication* application, OxinVM* vm, const char* name, int length)
    : Feature(application, vm, kLockfile) {
    String given(name ? name : "", name ? length : 0);
    lockname_ = String::Join({given.c_str(), ".lck"});
}

Lockfile::~Lockfile() {
    if (locked_) Release();
}

bool Lockfile::Error(const char* text, int length) {
    Feature::Error(String(text, length));
    return false;
}

bool Lockfile::Start() {
    return true;
}

bool Lockfile::Lock() {
    FileManager* files = application_->filemanager();
    if (files->Lock(OxinPathData, lockname_.c_str()) == 0) {
        locked_ = true;
        return true;
    }
    String text = String::Join(
        {"Error creating lockfile '", lockname_.c_str(), "': ", files->error().c_str()});
    return Error(text.c_str(), text.length());
}

bool Lockfile::End() {
    return true;
}

void Lockfile::Heartbeat() {
    if (locked_) application_->filemanager()->TouchFile(OxinPathData, lockname_.c_str());
}

void Lockfile::Release() {
    FileManager* files = application_->filemanager();
    locked_ = false;
    if (files->Delete(OxinPathData, lockname_.c_str())) return;
    // A removal that fails (a busy file server) is tried again for as long
    // as a waiter would wait; a stopping request gives up at once. What is
    // left behind then expires by the rule of the lock's waiters.
    Config* config = application_->config();
    int delay = config->value_integer(kConfigDelayFile);
    int timeout = config->value_integer(kConfigTimeoutFile);
    if (delay <= 0) delay = 1;
    if (timeout < 0) timeout = 0;
    long attempts = static_cast<long>(1000.0 / delay * timeout) + 1;
    for (long attempt = 0; attempt < attempts; attempt++) {
        if (application_->cancelled()) return;
        if (files->Delete(OxinPathData, lockname_.c_str())) return;
        application_->Sleep(delay);
    }
}
