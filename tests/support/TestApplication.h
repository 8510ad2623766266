#pragma once

#include "host/process/StandaloneApplication.h"

// The application of the tests.
class TestApplication : public StandaloneApplication {};
