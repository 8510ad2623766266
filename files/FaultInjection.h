#pragma once

// The operations on files that a test can make fail.
enum class FileFault { kOpen = 0, kRead, kWrite, kLock };

// Makes the nth file operation of a kind fail as the machine would fail it
// (an I/O error; a write first puts half its bytes on the disk), so that
// tests can walk a failure through every step of a larger operation. Counts
// only while armed; an unarmed plan costs one test per operation.
class FaultInjection {
  public:
    // Fails the nth (from 1) operation of kind counted from now; the other
    // kinds are not failed.
    void FailNth(FileFault kind, long nth) {
        Clear();
        kind_ = kind;
        countdown_ = nth;
    }
    void Clear() {
        countdown_ = 0;
        fired_ = false;
    }
    // True once: for the operation that is to fail.
    bool Fail(FileFault kind) {
        if (countdown_ <= 0 || kind != kind_) return false;
        if (--countdown_ > 0) return false;
        fired_ = true;
        return true;
    }
    // Whether the planned failure has happened.
    bool fired() const { return fired_; }

  private:
    FileFault kind_ = FileFault::kOpen;
    long countdown_ = 0;
    bool fired_ = false;
};
