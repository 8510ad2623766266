// The body of a POST request, read from descriptor 0 block by block into
// the parser of its content type.

#include <errno.h>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/CGIApplication.h"
#include "host/ExternalConfig.h"
#include "host/MultipartFormParser.h"
#include "host/URLEncodedParser.h"
#include "host/UnknownContentHandler.h"

namespace {

constexpr int kBlockSize = 8192;
// How long one wait for the body lasts before the flags are looked at again.
constexpr int kWaitSliceMilliseconds = 1000;

bool starts_with(const char* text, const char* prefix) {
    return strncasecmp(text, prefix, strlen(prefix)) == 0;
}

}  // namespace

// A client that stops sending must not hold the process: the wait for the
// next bytes gives way to the POST deadline (raised at a beat) and to a
// signal from the web server (which interrupts the wait at once). While an
// upload streams its file the POST deadline is off and only a signal ends
// the wait.
CGIApplication::BodyWait CGIApplication::WaitForBody() {
    pollfd input = {0, POLLIN, 0};
    for (;;) {
        int ready = poll(&input, 1, kWaitSliceMilliseconds);
        if (ready > 0 || (ready < 0 && errno != EINTR)) return BodyWait::kReady;
        if (interrupted_) return BodyWait::kInterrupted;
        if (post_timed_out) return BodyWait::kTimedOut;
    }
}

bool CGIApplication::ProcessPOSTedData() {
    const char* type = getenv("CONTENT_TYPE");
    const char* length_text = getenv("CONTENT_LENGTH");
    if (!type || !length_text) return true;
    long length = atol(length_text);
    if (length == 0) return true;

    std::unique_ptr<HTTPContentParser> parser;
    int limit = config_->value_integer(kConfigMaxPostVars);
    if (starts_with(type, "application/x-www-form-urlencoded")) {
        parser = std::make_unique<URLEncodedParser>(global_.get(), limit);
    } else if (starts_with(type, "multipart/form-data")) {
        parser =
            std::make_unique<MultipartFormParser>(current_vm_, &files_, global_.get(), limit, type);
    } else {
        int most = config_->value_integer(kConfigMaxUnknownContentLength);
        if (most < 0) {
            Error("Unknown POST content type");
            return false;
        }
        if (most > 0 && most < length) {
            Error("POST content length exceeds configured maximum for unknown content types");
            return false;
        }
        // The body becomes one variable, whose length is an int.
        if (length >= INT_MAX) {
            Error("Out of memory");
            return false;
        }
        parser = std::make_unique<UnknownContentHandler>(system_.get(), static_cast<int>(length));
    }

    ResetPOSTTimeout();
    char block[kBlockSize];
    bool ok = true;
    for (long due = length; due > 0;) {
        int wanted = due < kBlockSize ? static_cast<int>(due) : kBlockSize;
        BodyWait wait = WaitForBody();
        if (wait != BodyWait::kReady) {
            Error(wait == BodyWait::kTimedOut ? "Timeout processing POST data"
                                              : "Application timed out");
            ok = false;
            break;
        }
        int got = static_cast<int>(read(0, block, wanted));
        if (got == 0) break;
        if (post_timed_out) {
            Error("Timeout processing POST data");
            ok = false;
            break;
        }
        // A failed read is passed on as it is: the parsers take no bytes
        // from a negative length.
        if (!parser->Parse(block, got)) {
            Error(parser->error());
            ok = false;
            break;
        }
        if (got < 0) break;
        due -= got;
    }
    if (ok && !parser->Finalize()) {
        Error(parser->error());
        ok = false;
    }
    ClearPOSTTimeout();
    return ok;
}
