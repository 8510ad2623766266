// The body of a POST request, read from descriptor 0 block by block into
// the parser of its content type.

#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "host/CGIApplication.h"
#include "host/ExternalConfig.h"
#include "host/MultipartFormParser.h"
#include "host/URLEncodedParser.h"
#include "host/UnknownContentHandler.h"

namespace {

constexpr int kBlockSize = 8192;

bool starts_with(const char* text, const char* prefix) {
    return strncasecmp(text, prefix, strlen(prefix)) == 0;
}

}  // namespace

bool CGIApplication::ProcessPOSTedData() {
    const char* type = getenv("CONTENT_TYPE");
    const char* length_text = getenv("CONTENT_LENGTH");
    if (!type || !length_text) return true;
    long length = atol(length_text);
    if (length == 0) return true;

    HTTPContentParser* parser;
    int limit = config_->value_integer(kConfigMaxPostVars);
    if (starts_with(type, "application/x-www-form-urlencoded")) {
        parser = new URLEncodedParser(global_, limit);
    } else if (starts_with(type, "multipart/form-data")) {
        parser = new MultipartFormParser(current_vm_, &files_, global_, limit, type);
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
        parser = new UnknownContentHandler(system_, static_cast<int>(length));
    }

    ResetPOSTTimeout();
    char block[kBlockSize];
    bool ok = true;
    for (long due = length; due > 0;) {
        int wanted = due < kBlockSize ? static_cast<int>(due) : kBlockSize;
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
    delete parser;
    return ok;
}
