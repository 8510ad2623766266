#pragma once

#include "extensions/ExternalLibrary.h"

// A library opened with dlopen, closed when the object goes.
class UNIXExternalLibrary : public ExternalLibrary {
  public:
    using ExternalLibrary::ExternalLibrary;
    ~UNIXExternalLibrary() override;

    // dlopen with lazy binding; the error is dlerror's text.
    bool Load(const char* path) override;
    void* Get_Function(const char* symbol) override;

  private:
    void* handle_ = nullptr;
};
