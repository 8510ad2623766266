#pragma once

// The configuration values by id and key name, with their built-in
// defaults: the one table that the engine and its configuration library
// share. Plain data, so that the library needs nothing else of the engine.

// Value ids: bit 24 marks an integer value, bit 25 a string value.
enum ConfigId : int {
    kConfigLogLevel = 0x1000005,
    kConfigTimeoutGlobal = 0x1000007,
    kConfigTimeoutMail = 0x1000008,
    kConfigTimeoutCall = 0x1000009,
    kConfigTimeoutFile = 0x100000a,
    kConfigDelayFile = 0x100000b,
    kConfigCookies = 0x100000c,
    kConfigBufszImport = 0x100000d,
    kConfigBufszTemplate = 0x100000e,
    kConfigBufszCall = 0x100000f,
    kConfigBufszSmtp = 0x1000010,
    kConfigBufszContent = 0x1000011,
    kConfigBufszOutput = 0x1000012,
    kConfigMaxFiles = 0x1000013,
    kConfigLockExpiration = 0x1000014,
    kConfigFlagsSecurity = 0x1000018,
    kConfigBufszOutputFlush = 0x100001d,
    kConfigMaxDocache = 0x1000021,
    kConfigTimeoutPost = 0x1000026,
    kConfigMaxPostVars = 0x1000027,
    kConfigMaxUnknownContentLength = 0x1000028,
    kConfigSslSni = 0x1000029,
    kConfigMaxAsyncTasks = 0x1000030,
    kConfigTimeoutAsync = 0x1000031,
    kConfigTimeoutAsyncSleep = 0x1000032,
    kConfigDirOxin = 0x2000001,
    kConfigDirCommerce = 0x2000002,
    kConfigDirTemp = 0x2000003,
    kConfigDirData = 0x2000004,
    kConfigLogFile = 0x2000006,
    kConfigLockHostname = 0x2000015,
    kConfigDirCa = 0x2000016,
    kConfigDefaultFile = 0x2000017,
    kConfigDirUser = 0x2000019,
    kConfigInfoServeradmin = 0x200001a,
    kConfigSslOpenssl = 0x200001b,
    kConfigSslCrypto = 0x200001c,
    kConfigSslConfig = 0x200001d,
    kConfigDirBuiltin = 0x200001e,
    kConfigLogFilter = 0x2000025,
    kConfigLogCookie = 0x2000028,
    kConfigFileCa = 0x2000033,
};

// The name, type and built-in default of every known value id.
struct ConfigKey {
    int id;
    const char* key;
    int integer_default;
    const char* string_default;  // null: no default string
    bool has_default;
};

// Every known key, in id order, ending with an entry whose key is null.
inline constexpr ConfigKey kConfigKeys[] = {
    {kConfigLogLevel, "log_level", 0, nullptr, true},
    {kConfigTimeoutGlobal, "timeout_global", 90, nullptr, true},
    {kConfigTimeoutMail, "timeout_mail", 30, nullptr, true},
    {kConfigTimeoutCall, "timeout_call", 30, nullptr, true},
    {kConfigTimeoutFile, "timeout_file", 30, nullptr, true},
    {kConfigDelayFile, "delay_file", 100, nullptr, true},
    {kConfigCookies, "cookies", 1, nullptr, true},
    {kConfigBufszImport, "bufsz_import", 8192, nullptr, true},
    {kConfigBufszTemplate, "bufsz_template", 8192, nullptr, true},
    {kConfigBufszCall, "bufsz_call", 8192, nullptr, true},
    {kConfigBufszSmtp, "bufsz_smtp", 8192, nullptr, true},
    {kConfigBufszContent, "bufsz_content", 8192, nullptr, true},
    {kConfigBufszOutput, "bufsz_output", 8192, nullptr, true},
    {kConfigMaxFiles, "max_files", 0, nullptr, true},
    {kConfigLockExpiration, "lock_expiration", 90, nullptr, true},
    {kConfigFlagsSecurity, "flags_security", 0, nullptr, true},
    {kConfigBufszOutputFlush, "bufsz_output_flush", 0x100000, nullptr, true},
    {kConfigMaxDocache, "max_docache", 0, nullptr, true},
    {kConfigTimeoutPost, "timeout_post", 30, nullptr, true},
    {kConfigMaxPostVars, "max_post_vars", 2000, nullptr, true},
    {kConfigMaxUnknownContentLength, "max_unknown_content_length", 0x100000, nullptr, true},
    {kConfigSslSni, "ssl_sni", -1, nullptr, true},
    {kConfigMaxAsyncTasks, "max_async_tasks", 0, nullptr, true},
    {kConfigTimeoutAsync, "timeout_async", 3600, nullptr, true},
    {kConfigTimeoutAsyncSleep, "timeout_async_sleep", 86400, nullptr, true},
    {kConfigDirOxin, "dir_oxin", 0, nullptr, false},
    {kConfigDirCommerce, "dir_commerce", 0, nullptr, false},
    {kConfigDirTemp, "dir_temp", 0, nullptr, false},
    {kConfigDirData, "dir_data", 0, nullptr, false},
    {kConfigLogFile, "log_file", 0, nullptr, false},
    {kConfigLockHostname, "lock_hostname", 0, nullptr, false},
    {kConfigDirCa, "dir_ca", 0, nullptr, false},
    {kConfigDefaultFile, "default_file", 0, "index.oxc", true},
    {kConfigDirUser, "dir_user", 0, "public_qtx", true},
    {kConfigInfoServeradmin, "info_serveradmin", 0, "webmaster@localhost", true},
    {kConfigSslOpenssl, "ssl_openssl", 0, "libssl.so", true},
    {kConfigSslCrypto, "ssl_crypto", 0, "libcrypto.so", true},
    {kConfigSslConfig, "ssl_config", 0, nullptr, false},
    {kConfigDirBuiltin, "dir_builtin", 0, nullptr, false},
    {kConfigLogFilter, "log_filter", 0, nullptr, false},
    {kConfigLogCookie, "log_cookie", 0, nullptr, false},
    {kConfigFileCa, "file_ca", 0, nullptr, false},
    {0, nullptr, 0, nullptr, false},
};
