#pragma once

#include <string>

#include "variables/Variable.h"

// Drops one count on a variable at the end of a scope, the way every holder
// of a variable lets go of it.
class Held {
  public:
    explicit Held(Variable* variable) : variable_(variable) {}
    ~Held() {
        if (variable_) variable_->DecRefCount();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    Variable* operator->() const { return variable_; }
    Variable& operator*() const { return *variable_; }
    Variable* get() const { return variable_; }

  private:
    Variable* variable_;
};

inline std::string Text(Variable* variable) {
    const String& text = variable->value();
    return std::string(text.c_str(), text.length());
}

#if defined(__SANITIZE_ADDRESS__)
constexpr int kRandomSteps = 4000;
#else
constexpr int kRandomSteps = 40000;
#endif
