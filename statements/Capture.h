#pragma once

#include <memory>

#include "runtime/Feature.h"
#include "statements/CaptureOutput.h"

class Output;
class Variable;

// One open OxCAPTURE: while it runs, the application's output is a
// CaptureOutput, and at its end the text printed meanwhile becomes the
// value of the target variable. Captures nest, each wrapping the output
// that was current when it began.
class Capture : public Feature {
  public:
    // Captures into variable, on which it holds a count; wraps the
    // application's present output.
    Capture(OxinApplication* application, OxinVM* vm, Variable* variable);
    // A capture that was never ended gives the output back and drops the
    // text.
    ~Capture() override;

    // Makes the capture the application's output. Always true.
    virtual bool Start();
    // Stores the captured text in the variable, replacing its value, and
    // gives the earlier output back. Always true.
    virtual bool End();

  private:
    std::unique_ptr<CaptureOutput> output_;
    // The output before the capture; it may itself be null.
    Output* saved_ = nullptr;
    bool capturing_ = false;
    Variable* variable_;
};
