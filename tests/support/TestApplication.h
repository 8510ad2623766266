#pragma once

#include "host/StandaloneApplication.h"

// The application of the tests.
class TestApplication : public StandaloneApplication {};
