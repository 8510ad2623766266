// The request's side of the CGI application: which script it names, how it
// is loaded, and the variables that the script sees from its first
// instruction on.

#include <arpa/inet.h>
#include <pwd.h>
#include <strings.h>
#include <sys/time.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "application/CGIOutput.h"
#include "files/Dictionary.h"
#include "files/TaggedFile.h"
#include "host/CGIApplication.h"
#include "host/ExternalConfig.h"
#include "host/URLEncodedParser.h"
#include "runtime/FunctionManager.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedLanguages.h"
#include "variables/DynamicSystemVariables.h"
#include "variables/ImmutableVariable.h"
#include "variables/VariableHash.h"

extern char** environ;

namespace {

constexpr const char* kVersion = "5.30";
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

String unable_to_execute(const String& path, const String& reason) {
    String text("Unable to execute '");
    text.cat(path.c_str(), path.length());
    text.cat("': ");
    text.cat(reason.c_str(), reason.length());
    return text;
}

String encoded(const String& text) {
    int length, size;
    char* encoded = TextConversion::EncodeEntities(text.c_str(), text.length(), &length, &size);
    return String(encoded, length, size);
}

bool is_ipv6_address(const char* text) {
    unsigned char address[16];
    return inet_pton(AF_INET6, text, address) == 1;
}

}  // namespace

void CGIApplication::SetSystemVariable(const char* name, const char* value, int length) {
    system_->SetVariable(new ImmutableVariable(name, -1, value, length));
}

void CGIApplication::SetSystemVariable(const char* name, long value) {
    char digits[24];
    *std::to_chars(digits, digits + sizeof digits - 1, value).ptr = '\0';
    SetSystemVariable(name, digits);
}

bool CGIApplication::GetScriptInformation(File** file, String& path) {
    String name;
    if (path_info_) {
        name = String(path_info_[0] == '/' ? path_info_ + 1 : path_info_);
    } else if (argc_ >= 2) {
        name = String(arguments_[1]);
    } else if (query_string_) {
        const char* plus = strchr(query_string_, '+');
        name = String(query_string_, plus ? static_cast<int>(plus - query_string_) : -1);
    } else {
        name = String(config_->value_string(kConfigDefaultFile, nullptr));
    }

    String directory, user;
    const char* text = name.c_str();
    if (text[0] == '~' && name.length() > 1) {
        if (const char* slash = strchr(text, '/')) {
            user = String(text + 1, static_cast<int>(slash - text - 1));
            passwd* account = getpwnam(user.c_str());
            if (!account) {
                String message("Invalid user '");
                message.cat(user.c_str(), user.length());
                message.cat("'");
                ConfigurationError(message);
                return false;
            }
            directory = String(account->pw_dir);
            directory.cat("/");
            directory.cat(config_->value_string(kConfigDirUser, nullptr));
            name = String(slash + 1);
        }
    } else {
        directory = String(config_->value_string(kConfigDirOxin, nullptr));
    }
    if (!files_.InitializeScriptDirectory(directory.c_str(),
                                          user.length() ? user.c_str() : nullptr)) {
        ConfigurationError(files_.error());
        return false;
    }

    path = name;
    const char* default_file = config_->value_string(kConfigDefaultFile, nullptr);
    for (;;) {
        File* opened = files_.Open(OxinPathScript, path.c_str(), FileOpenRead);
        if (!opened) {
            Error(unable_to_execute(encoded(path), files_.error()));
            return false;
        }
        bool directory_found = false;
        if (!opened->IsDirectory(&directory_found)) {
            Error(unable_to_execute(encoded(path), opened->error()));
            delete opened;
            return false;
        }
        if (!directory_found) {
            *file = opened;
            return true;
        }
        delete opened;
        if (path.length() == 0 || path.c_str()[path.length() - 1] != '/') path.cat("/");
        path.cat(default_file ? default_file : "");
    }
}

bool CGIApplication::LoadScript(std::unique_ptr<File> file, TaggedFile* tagged,
                                const String& path) {
    if (!config_->LoadScriptConfig(path.c_str(), file.get())) {
        ConfigurationError(config_->error());
        return false;
    }
    if (!file->OwnerID(&script_owner_uid_)) {
        Error(unable_to_execute(path, file->error()));
        return false;
    }
    if (!tagged->Open(path.c_str(), std::move(file))) {
        Error(unable_to_execute(path, tagged->error()));
        return false;
    }
    if (!dictionary_->Read(tagged) || !system_->Read(tagged, kSectionSyst) ||
        !global_->Read(tagged, kSectionGlbl) || !languages_->Read(tagged) ||
        !pieces_->Read(tagged) || !segments_->Read(tagged) ||
        !functions_->Read(tagged, *segments_)) {
        Error(unable_to_execute(
            path, String("File is either corrupt or not a valid compiled Oxin Script file")));
        return false;
    }
    return true;
}

bool CGIApplication::AddEnvironmentVariables() {
    static const char* const kHidden[] = {"termcap", "logname", "mail", "path"};
    for (char** entry = environ; entry && *entry; entry++) {
        const char* equals = strchr(*entry, '=');
        int name_length =
            equals ? static_cast<int>(equals - *entry) : static_cast<int>(strlen(*entry));
        bool hidden = false;
        for (const char* name : kHidden) {
            hidden = hidden || (static_cast<int>(strlen(name)) == name_length &&
                                strncasecmp(name, *entry, name_length) == 0);
        }
        if (hidden) continue;
        system_->SetVariable(
            new ImmutableVariable(*entry, name_length, equals ? equals + 1 : "", -1));
    }
    return true;
}

bool CGIApplication::AddSystemVariables() {
    timeval now;
    gettimeofday(&now, nullptr);
    tm local;
    time_t seconds = now.tv_sec;
    localtime_r(&seconds, &local);
    SetSystemVariable("time_t", static_cast<long>(now.tv_sec));
    SetSystemVariable("tm_usec", static_cast<long>(now.tv_usec));
    SetSystemVariable("tm_sec", static_cast<long>(local.tm_sec));
    SetSystemVariable("tm_min", static_cast<long>(local.tm_min));
    SetSystemVariable("tm_hour", static_cast<long>(local.tm_hour));
    SetSystemVariable("tm_mday", static_cast<long>(local.tm_mday));
    SetSystemVariable("tm_mon", static_cast<long>(local.tm_mon + 1));
    SetSystemVariable("stm_mon", kMonths[local.tm_mon]);
    SetSystemVariable("tm_year", static_cast<long>(local.tm_year + 1900));
    SetSystemVariable("tm_wday", static_cast<long>(local.tm_wday + 1));
    SetSystemVariable("stm_wday", kWeekdays[local.tm_wday]);
    SetSystemVariable("tm_yday", static_cast<long>(local.tm_yday + 1));
    SetSystemVariable("tm_isdst", static_cast<long>(local.tm_isdst));
    SetSystemVariable("stm_zone", tzname[local.tm_isdst > 0 ? 1 : 0]);
    SetSystemVariable("globaltimeout",
                      static_cast<long>(config_->value_integer(kConfigTimeoutGlobal)));
    SetSystemVariable("oxinversion", kVersion);
    // The variables computed at each read.
    for (int kind = 0; kind < DynamicTimeVariable::kKinds; kind++)
        system_->SetVariable(new DynamicTimeVariable(kind));
    system_->SetVariable(new TimeRemainingVariable(this));
    system_->SetVariable(new LanguageVariable(this));
    system_->SetVariable(new DefaultLanguageVariable(this));
    system_->SetVariable(new DefaultDatabaseVariable(this));
    system_->SetVariable(new CharacterSetVariable(this));
    system_->SetVariable(new SSLAvailableVariable(this));
    system_->SetVariable(new ConfigurationAggregateVariable(this));
    system_->SetVariable(new ProcessNameVariable(this));
    return true;
}

// A piece becomes arg<number> after URL decoding; an empty piece, before or
// after decoding, uses no number.
bool CGIApplication::AddArgument(const char* piece, int length, int* number) {
    if (length == 0) return false;
    int decoded_length, size;
    char* decoded = DecodeAttribute(piece, length, &decoded_length, &size);
    if (decoded_length == 0) {
        delete[] decoded;
        return false;
    }
    if (*number == 1) first_argument_ = String(decoded, decoded_length);
    char name[24] = "arg";
    *std::to_chars(name + 3, name + sizeof name - 1, *number).ptr = '\0';
    system_->SetVariable(new ImmutableVariable(name, -1, decoded, decoded_length, size));
    (*number)++;
    return true;
}

bool CGIApplication::AddQueryArguments() {
    int number = 1;
    if (path_info_) {
        SetSystemVariable("arg1", path_info_);
        first_argument_ = String(path_info_);
        number = 2;
    }
    if (argc_ < 2 && query_string_) {
        for (const char* piece = query_string_;;) {
            const char* plus = strchr(piece, '+');
            int length = plus ? static_cast<int>(plus - piece) : static_cast<int>(strlen(piece));
            AddArgument(piece, length, &number);
            if (!plus) break;
            piece = plus + 1;
        }
    } else {
        for (int i = 1; i < argc_; i++)
            AddArgument(arguments_[i], static_cast<int>(strlen(arguments_[i])), &number);
    }
    SetSystemVariable("nargs", static_cast<long>(number - 1));
    return true;
}

bool CGIApplication::AddQueryVariables() {
    if (!query_string_) return true;
    const char* variables = query_string_;
    if (!path_info_) {
        const char* plus = strchr(query_string_, '+');
        if (!plus) return true;
        variables = plus + 1;
    }
    URLEncodedParser parser(global_.get(), 0);
    if (!parser.Parse(variables, static_cast<int>(strlen(variables))) || !parser.Finalize()) {
        Error(parser.error());
        return false;
    }
    return true;
}

bool CGIApplication::AddAPIVariables() {
    SetSystemVariable("process_id", static_cast<long>(process_id_));
    SetSystemVariable("thread_id", static_cast<long>(thread_id_));
    SetSystemVariable("apitype", path_info_ ? "Redirect" : "CGI");
    const char* server = getenv("SERVER_NAME");
    if (!server) return true;
    bool secure = getenv("HTTPS") != nullptr;
    int default_port = secure ? 443 : 80;
    const char* port_text = getenv("SERVER_PORT");
    int port = port_text ? atoi(port_text) : default_port;
    String url(secure ? "https://" : "http://");
    bool ipv6 = is_ipv6_address(server);
    if (ipv6) url.cat("[");
    url.cat(server);
    if (ipv6) url.cat("]");
    if (port != default_port) {
        char suffix[16] = ":";
        *std::to_chars(suffix + 1, suffix + sizeof suffix - 1, port).ptr = '\0';
        url.cat(suffix);
    }
    if (path_info_) {
        url.cat(path_info_);
        url.cat("?");
    } else {
        const char* script = getenv("SCRIPT_NAME");
        url.cat(script ? script : "");
        url.cat("?");
        url.cat(first_argument_.c_str(), first_argument_.length());
        url.cat("+");
    }
    SetSystemVariable("documenturl", url.c_str(), url.length());
    return true;
}

void CGIApplication::OutputHeaders() {
    if (headers_started_) return;
    headers_started_ = true;
    output_->Header("Content-Type", "text/html");
    if (config_ && config_->value_integer(kConfigCookies) != 0) OutputCookie();
}

bool CGIApplication::OutputCookie() {
    const char* cookies = getenv("HTTP_COOKIE");
    const char* found = cookies ? strstr(cookies, "qtxcallerid=") : nullptr;
    String value;
    if (found) {
        found += 12;
        const char* end = strchr(found, ';');
        value = String(found, end ? static_cast<int>(end - found) : -1);
    }
    if (value.length() == 0) {
        int length;
        char* made = MakeSessionID(&length);
        value = String(made, length, length + 1);
    }
    time_t expires = time(nullptr) + 31536000;
    tm gmt;
    gmtime_r(&expires, &gmt);
    char date[64];
    strftime(date, sizeof date, "%a, %d-%b-%Y %H:%M:%S GMT", &gmt);
    String header("qtxcallerid=");
    header.cat(value.c_str(), value.length());
    header.cat("; expires=");
    header.cat(date);
    header.cat("; path=/");
    int length = header.length();
    output_->Header("Set-Cookie", -1, 0, header.release(), length, 1);
    if (system_) SetSystemVariable("callerid", value.c_str(), value.length());
    return true;
}
