#pragma once

#include "base/StringClass.h"

class OxinApplication;
class OxinVM;
class OxinVM_Frame;

// A statement that stays open across instructions (an import loop, a mail
// being written, a capture). It stands on the machine's feature stack and
// belongs to the frame that was current when it began, so that leaving a
// function ends what the function left open. Deleting it ends the statement.
class Feature {
  public:
    // Values of ID().
    static constexpr int kImport = 1;
    static constexpr int kSMTP = 3;
    static constexpr int kCommerce = 4;
    static constexpr int kPOP3 = 5;
    static constexpr int kLockfile = 6;
    static constexpr int kCall = 7;
    static constexpr int kCapture = 8;

    // Belongs to vm's current frame.
    Feature(OxinApplication* application, OxinVM* vm, int id);
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;
    virtual ~Feature() = default;

    // Called on each heartbeat of the machine; nothing by default.
    virtual void Heartbeat() {}
    virtual void Error(const String& text) { error_ = text; }

    int ID() const { return id_; }
    OxinVM_Frame* frame() const { return frame_; }
    const String& error() const { return error_; }

  protected:
    OxinApplication* application_;
    OxinVM* vm_;

  private:
    OxinVM_Frame* frame_;
    int id_;
    String error_;
};
