// The log of a request: its settings from the configuration and the
// writing of records.

#include <cstdlib>
#include <cstring>

#include "files/File.h"
#include "host/CGIApplication.h"
#include "host/LogRecord.h"

namespace {

constexpr char kLogCookie[] = "oxinlogcookie=";

}  // namespace

void CGIApplication::ConfigureLog(const char* filter, const char* cookie, const char* file) {
    if (filter && *filter) ParseLogFilter(filter);
    if (cookie && *cookie) ProcessLogCookie(cookie);
    if (!file || !*file) return;
    log_file_.reset(files_.Open(OxinPathData, file,
                                FileOpenWrite | FileOpenCreate | FileOpenAppend));
}

void CGIApplication::ProcessLogCookie(const char* expected) {
    log_suppressed = true;
    const char* cookies = getenv("HTTP_COOKIE");
    const char* found = cookies ? strstr(cookies, kLogCookie) : nullptr;
    if (!found) return;
    const char* value = found + sizeof kLogCookie - 1;
    size_t length = strcspn(value, ";");
    if (length == strlen(expected) && memcmp(value, expected, length) == 0) log_suppressed = false;
}

// The line goes in a single write to a file opened for appending, so that
// the records of processes that log at once never mix. A failed write is
// not reported: the log must never stop a request.
void CGIApplication::Log(unsigned kind, LogParameter* parameters) {
    if (!log_file_) return;
    String line = LogRecord::Line(process_id_, Log_Description(kind), parameters);
    (void)log_file_->Write(line.c_str(), line.length());
}
