#pragma once

#include "extensions/ExternalLibraryManager.h"

// Libraries loaded with dlopen.
class UNIXExternalLibraryManager : public ExternalLibraryManager {
  public:
    ExternalLibrary* Load(const char* path) override;
};
