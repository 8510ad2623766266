#include "statements/SMTP.h"

#include <strings.h>

#include <cstring>

#include "application/Config.h"
#include "application/OxinApplication.h"
#include "network/SMTPOutput.h"
#include "network/SMTPService.h"
#include "statements/OxinVMLoggingNetworkConnection.h"

namespace {

int Configured(OxinApplication* application, int id, int fallback) {
    Config* config = application ? application->config() : nullptr;
    int value = config ? config->value_integer(id) : -1;
    return value > 0 ? value : fallback;
}

bool IsSeparator(char c) {
    return c == ',' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

SMTP::SMTP(OxinApplication* application, OxinVM* vm, Arguments arguments)
    : Feature(application, vm, Feature::kSMTP), arguments_(std::move(arguments)) {}

SMTP::~SMTP() {
    Finish();
}

bool SMTP::ParseFlags(const String& text, unsigned* flags) {
    *flags = 0;
    const char* p = text.c_str();
    while (*p) {
        while (*p && IsSeparator(*p))
            p++;
        const char* end = p;
        while (*end && !IsSeparator(*end))
            end++;
        int length = static_cast<int>(end - p);
        if (length == 0) break;
        if (length == 3 && strncasecmp(p, "tls", 3) == 0) {
            *flags |= SMTPService::kTLS;
        } else if (length == 8 && strncasecmp(p, "starttls", 8) == 0) {
            *flags |= SMTPService::kStartTLS;
        } else if (length == 9 && strncasecmp(p, "noheaders", 9) == 0) {
            *flags |= SMTPService::kNoHeaders;
        } else {
            String word(p, length);
            Error(String::Join({"Unsupported flag \"", word.c_str(), "\""}));
            return false;
        }
        p = end;
    }
    if ((*flags & SMTPService::kTLS) && (*flags & SMTPService::kStartTLS)) {
        Error(String("Only one of the \"tls\" or \"starttls\" flags may be specified"));
        return false;
    }
    return true;
}

bool SMTP::Connect() {
    output_.reset();
    service_.reset();
    unsigned flags = 0;
    if (!ParseFlags(arguments_.flags, &flags)) return false;
    int timeout = Configured(application_, kConfigTimeoutMail, 30);
    service_ = std::make_unique<SMTPService>(application_, arguments_.host, arguments_.port,
                                             timeout, flags, std::move(arguments_.username),
                                             std::move(arguments_.password));
    OxinVMLoggingNetworkConnectionData place{vm_, kLogSMTP};
    if (arguments_.logging) service_->Log_With<OxinVMLoggingNetworkConnection>(&place);
    if (!service_->SMTP_Connect(arguments_.logging)) {
        Error(service_->error());
        return false;
    }
    output_ =
        std::make_unique<SMTPOutput>(application_->output(), service_->Connection(),
                                     Configured(application_, kConfigBufszSmtp, 8192), timeout);
    previous_output_ = application_->SetOutput(output_.get());
    output_set_ = true;
    return true;
}

bool SMTP::Start() {
    started_ = service_->Start(arguments_.to, arguments_.from, arguments_.cc, arguments_.subject);
    if (started_) return true;
    Error(service_->error());
    return false;
}

bool SMTP::Finish() {
    if (output_set_) {
        application_->SetOutput(previous_output_);
        output_set_ = false;
    }
    bool done = true;
    // The message is ended only when DATA began; otherwise the server just
    // hears QUIT.
    if (started_ && service_ && output_ && service_->Connection()) {
        started_ = false;
        done = service_->Finish(output_.get());
        if (!done) Error(service_->error());
    }
    output_.reset();
    service_.reset();
    return done;
}
