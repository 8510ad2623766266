#include "statements/Capture.h"

#include "application/OxinApplication.h"
#include "variables/Variable.h"

Capture::Capture(OxinApplication* application, OxinVM* vm, Variable* variable)
    : Feature(application, vm, kCapture),
      output_(std::make_unique<CaptureOutput>(application->output())),
      variable_(variable) {
    variable_->IncRefCount();
}

Capture::~Capture() {
    if (capturing_) application_->SetOutput(saved_);
    output_.reset();
    variable_->DecRefCount();
}

bool Capture::Start() {
    saved_ = application_->SetOutput(output_.get());
    capturing_ = true;
    return true;
}

bool Capture::End() {
    int length = 0, size = 0;
    char* text = output_->data(&length, &size);
    variable_->SetValue_Nocopy(text, length, size);
    application_->SetOutput(saved_);
    saved_ = nullptr;
    capturing_ = false;
    return true;
}
