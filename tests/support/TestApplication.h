#pragma once

#include <cstring>
#include <string>

#include "application/Config.h"
#include "host/StandaloneApplication.h"

// The application of the tests.
class TestApplication : public StandaloneApplication {
  public:
    // Sets the text value of configuration key id.
    void SetConfig(int id, const std::string& value) {
        char* copy = new char[value.size() + 1];
        memcpy(copy, value.c_str(), value.size() + 1);
        config()->SetValue(id, copy, static_cast<int>(value.size()), 1);
    }
};
