#include "application/OpenSSLLibrary.h"

#include <dlfcn.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "application/Config.h"

namespace {

// OpenSSL's own numbers, fixed by its interface.
constexpr int kVerifyNone = 0;
constexpr int kVerifyPeer = 1;
constexpr int kSecurityNoPeerVerification = 0x1000;
constexpr uint64_t kInitLoadCryptoStrings = 0x2;
constexpr uint64_t kInitAddAllCiphers = 0x4;
constexpr uint64_t kInitAddAllDigests = 0x8;
constexpr uint64_t kInitLoadSSLStrings = 0x200000;
// Seeding the generator by hand stops after this many rounds: a library
// that never feels seeded must not hold the request forever.
constexpr int kMaximumSeedRounds = 1024;

// The initializers that replaced the classic start-up calls in 1.1. The
// adapters below give them the classic calling form.
int (*init_ssl)(uint64_t, const void*) = nullptr;
int (*init_crypto)(uint64_t, const void*) = nullptr;

int LibraryInitAdapter() {
    return init_ssl(0, nullptr);
}
void LoadErrorStringsAdapter() {
    init_ssl(kInitLoadSSLStrings | kInitLoadCryptoStrings, nullptr);
}
void AddAllCiphersAdapter() {
    init_crypto(kInitAddAllCiphers, nullptr);
}
void AddAllDigestsAdapter() {
    init_crypto(kInitAddAllDigests, nullptr);
}
// Cleanup calls that later libraries do on their own at exit.
void NothingToDo() {}

template <typename Function>
void* Slot(Function* pointer) {
    return static_cast<void*>(pointer);
}

template <typename Function>
void* Code(Function* function) {
    return reinterpret_cast<void*>(function);
}

void Store(void* slot, void* address) {
    memcpy(slot, &address, sizeof address);
}

bool IsSet(const void* slot) {
    void* address;
    memcpy(&address, slot, sizeof address);
    return address != nullptr;
}

void SetError(String* error, const String& text) {
    if (error) *error = text;
}

const char* DynamicLoaderError() {
    const char* text = dlerror();
    return text ? text : "Unknown error";
}

}  // namespace

// One function of the table: its classic name, the name of its successor
// in later libraries, and, where the successor is called otherwise, the
// adapter that takes the classic form and the place for the successor.
struct OpenSSLLibrary::Entry {
    const char* name;
    const char* successor;
    Group group;
    void* slot;
    void* adapter = nullptr;
    void* successor_slot = nullptr;
    void* fallback = nullptr;  // used when neither name exists
};

OpenSSLLibrary::~OpenSSLLibrary() {
    if (context_ && SSL_CTX_free) SSL_CTX_free(context_);
    if (ERR_free_strings) ERR_free_strings();
    if (ERR_remove_thread_state) {
        ERR_remove_thread_state(nullptr);
    } else if (ERR_remove_state) {
        ERR_remove_state(0);
    }
    if (EVP_cleanup) EVP_cleanup();
    if (CRYPTO_cleanup_all_ex_data) CRYPTO_cleanup_all_ex_data();
    // From 1.1 on the library frees its compression methods itself at exit;
    // freeing them here too would leave it a dangling list.
    if (classic_interface_ && sk_free && SSL_COMP_get_compression_methods) {
        sk_free(SSL_COMP_get_compression_methods());
    }
    if (crypto_handle_) dlclose(crypto_handle_);
    if (ssl_handle_) dlclose(ssl_handle_);
}

bool OpenSSLLibrary::Initialize(Config* config, String* error) {
    if (context_) return true;
    if (!config) {
        SetError(error, String("Unable to load OpenSSL: no configuration"));
        return false;
    }
    return OpenLibraries(config, error) && FetchFunctions(error) && CreateContext(config, error);
}

void* OpenSSLLibrary::GetFunction(const char* name) {
    void* address = ssl_handle_ ? dlsym(ssl_handle_, name) : nullptr;
    if (!address && crypto_source_) address = dlsym(crypto_source_, name);
    return address;
}

asn1_string_st* OpenSSLLibrary::NameEntryData(const X509_name_entry_st* entry) const {
    if (!entry) return nullptr;
    if (X509_NAME_ENTRY_get_data) return X509_NAME_ENTRY_get_data(entry);
    // The classic entry: the object, then the value.
    asn1_string_st* const* fields = reinterpret_cast<asn1_string_st* const*>(entry);
    return fields[1];
}

const char* OpenSSLLibrary::ErrorReason() {
    const char* reason = ERR_get_error ? ERR_reason_error_string(ERR_get_error()) : nullptr;
    return reason ? reason : "Unknown error";
}

bool OpenSSLLibrary::OpenLibraries(Config* config, String* error) {
    int length = 0;
    const char* ssl = config->value_string(kConfigSslOpenssl, &length);
    const char* crypto = config->value_string(kConfigSslCrypto, nullptr);
    ssl_path_ = String(ssl ? ssl : "");
    String crypto_path(crypto ? crypto : "");
    // dlopen takes an empty path for the program itself: never that.
    auto open = [](const String& path) {
        return path.length() ? dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL) : nullptr;
    };
    auto failed = [](const String& path) {
        return String::Join({"Unable to load '", path.c_str(), "': ",
                             path.length() ? DynamicLoaderError() : "No path configured"});
    };
    if (!ssl_handle_) {
        ssl_handle_ = open(ssl_path_);
        if (!ssl_handle_) {
            // Some systems' libssl loads only once libcrypto is in.
            SetError(error, failed(ssl_path_));
            if (!crypto_handle_) crypto_handle_ = open(crypto_path);
            if (!crypto_handle_) return false;
            ssl_handle_ = open(ssl_path_);
            if (!ssl_handle_) return false;
        }
    }
    if (crypto_source_) return true;
    if (dlsym(ssl_handle_, "ERR_get_error")) {
        crypto_source_ = ssl_handle_;
        crypto_source_path_ = ssl_path_;
        return true;
    }
    if (!crypto_handle_) crypto_handle_ = open(crypto_path);
    if (!crypto_handle_) {
        SetError(error, failed(crypto_path));
        return false;
    }
    crypto_source_ = crypto_handle_;
    crypto_source_path_ = crypto_path;
    return true;
}

bool OpenSSLLibrary::FetchFunctions(String* error) {
    using G = Group;
    const Entry table[] = {
        {"SSLeay", "OpenSSL_version_num", G::kSSL, Slot(&SSLeay)},
        {"SSL_library_init", "OPENSSL_init_ssl", G::kSSL, Slot(&SSL_library_init),
         Code(&LibraryInitAdapter), Slot(&init_ssl)},
        {"SSL_load_error_strings", "OPENSSL_init_ssl", G::kSSL, Slot(&SSL_load_error_strings),
         Code(&LoadErrorStringsAdapter), Slot(&init_ssl)},
        {"SSLv23_client_method", "TLS_client_method", G::kSSL, Slot(&SSLv23_client_method)},
        {"SSL_CTX_new", nullptr, G::kSSL, Slot(&SSL_CTX_new)},
        {"SSL_CTX_free", nullptr, G::kSSL, Slot(&SSL_CTX_free)},
        {"SSL_CTX_set_verify", nullptr, G::kSSL, Slot(&SSL_CTX_set_verify)},
        {"SSL_CTX_load_verify_locations", nullptr, G::kSSL, Slot(&SSL_CTX_load_verify_locations)},
        {"SSL_new", nullptr, G::kSSL, Slot(&SSL_new)},
        {"SSL_set_fd", nullptr, G::kSSL, Slot(&SSL_set_fd)},
        {"SSL_connect", nullptr, G::kSSL, Slot(&SSL_connect)},
        {"SSL_read", nullptr, G::kSSL, Slot(&SSL_read)},
        {"SSL_write", nullptr, G::kSSL, Slot(&SSL_write)},
        {"SSL_get_error", nullptr, G::kSSL, Slot(&SSL_get_error)},
        {"SSL_get_peer_certificate", "SSL_get1_peer_certificate", G::kSSL,
         Slot(&SSL_get_peer_certificate)},
        {"SSL_ctrl", nullptr, G::kSSL, Slot(&SSL_ctrl)},
        {"SSL_free", nullptr, G::kSSL, Slot(&SSL_free)},
        {"OpenSSL_add_all_ciphers", "OPENSSL_init_crypto", G::kCrypto,
         Slot(&OpenSSL_add_all_ciphers), Code(&AddAllCiphersAdapter), Slot(&init_crypto)},
        {"OpenSSL_add_all_digests", "OPENSSL_init_crypto", G::kCrypto,
         Slot(&OpenSSL_add_all_digests), Code(&AddAllDigestsAdapter), Slot(&init_crypto)},
        {"EVP_cleanup", nullptr, G::kCrypto, Slot(&EVP_cleanup), nullptr, nullptr,
         Code(&NothingToDo)},
        {"CRYPTO_cleanup_all_ex_data", nullptr, G::kCrypto, Slot(&CRYPTO_cleanup_all_ex_data),
         nullptr, nullptr, Code(&NothingToDo)},
        {"ERR_get_error", nullptr, G::kCrypto, Slot(&ERR_get_error)},
        {"ERR_reason_error_string", nullptr, G::kCrypto, Slot(&ERR_reason_error_string)},
        {"RAND_seed", nullptr, G::kCrypto, Slot(&RAND_seed)},
        {"RAND_status", nullptr, G::kCrypto, Slot(&RAND_status)},
        {"RAND_bytes", nullptr, G::kCrypto, Slot(&RAND_bytes)},
        {"BIO_new_mem_buf", nullptr, G::kCrypto, Slot(&BIO_new_mem_buf)},
        {"BIO_ctrl", nullptr, G::kCrypto, Slot(&BIO_ctrl)},
        {"PEM_read_bio_X509", nullptr, G::kCrypto, Slot(&PEM_read_bio_X509)},
        {"PEM_read_bio_PrivateKey", nullptr, G::kCrypto, Slot(&PEM_read_bio_PrivateKey)},
        {"d2i_X509_bio", nullptr, G::kCrypto, Slot(&d2i_X509_bio)},
        {"d2i_PrivateKey_bio", nullptr, G::kCrypto, Slot(&d2i_PrivateKey_bio)},
        {"BIO_free", nullptr, G::kCrypto, Slot(&BIO_free)},
        {"X509_get_ext_d2i", nullptr, G::kCrypto, Slot(&X509_get_ext_d2i)},
        {"sk_num", "OPENSSL_sk_num", G::kCrypto, Slot(&sk_num)},
        {"sk_value", "OPENSSL_sk_value", G::kCrypto, Slot(&sk_value)},
        {"sk_free", "OPENSSL_sk_free", G::kCrypto, Slot(&sk_free)},
        {"GENERAL_NAME_free", nullptr, G::kCrypto, Slot(&GENERAL_NAME_free)},
        {"sk_pop_free", "OPENSSL_sk_pop_free", G::kCrypto, Slot(&sk_pop_free)},
        {"ASN1_STRING_data", "ASN1_STRING_get0_data", G::kCrypto, Slot(&ASN1_STRING_data)},
        {"ASN1_STRING_length", nullptr, G::kCrypto, Slot(&ASN1_STRING_length)},
        {"X509_get_subject_name", nullptr, G::kCrypto, Slot(&X509_get_subject_name)},
        {"X509_NAME_get_index_by_NID", nullptr, G::kCrypto, Slot(&X509_NAME_get_index_by_NID)},
        {"X509_NAME_get_entry", nullptr, G::kCrypto, Slot(&X509_NAME_get_entry)},
        {"X509_free", nullptr, G::kCrypto, Slot(&X509_free)},
        {"EVP_PKEY_free", nullptr, G::kCrypto, Slot(&EVP_PKEY_free)},
        {"SSL_use_certificate", nullptr, G::kSSL, Slot(&SSL_use_certificate)},
        {"SSL_use_PrivateKey", nullptr, G::kSSL, Slot(&SSL_use_PrivateKey)},
        {"SSL_COMP_get_compression_methods", nullptr, G::kSSL,
         Slot(&SSL_COMP_get_compression_methods)},
        {"ERR_free_strings", nullptr, G::kOptional, Slot(&ERR_free_strings)},
        {"OPENSSL_load_builtin_modules", nullptr, G::kOptional,
         Slot(&OPENSSL_load_builtin_modules)},
        {"ENGINE_load_builtin_engines", nullptr, G::kOptional, Slot(&ENGINE_load_builtin_engines)},
        {"CONF_modules_load_file", nullptr, G::kOptional, Slot(&CONF_modules_load_file)},
        {"ERR_remove_state", nullptr, G::kOptional, Slot(&ERR_remove_state)},
        {"ERR_remove_thread_state", nullptr, G::kOptional, Slot(&ERR_remove_thread_state)},
        {"X509_NAME_ENTRY_get_data", nullptr, G::kOptional, Slot(&X509_NAME_ENTRY_get_data)},
    };
    for (const Entry& entry : table) {
        if (IsSet(entry.slot)) continue;
        if (!Fetch(entry, error)) return false;
    }
    return true;
}

bool OpenSSLLibrary::Fetch(const Entry& entry, String* error) {
    void* handle = entry.group == Group::kCrypto ? crypto_source_ : ssl_handle_;
    const String& path = entry.group == Group::kCrypto ? crypto_source_path_ : ssl_path_;
    dlerror();
    void* address = dlsym(handle, entry.name);
    if (!address && entry.group == Group::kOptional) address = dlsym(crypto_source_, entry.name);
    if (address) {
        if (entry.slot == Slot(&SSL_library_init)) classic_interface_ = true;
        Store(entry.slot, address);
        return true;
    }
    String reason(DynamicLoaderError());
    void* successor = entry.successor ? dlsym(handle, entry.successor) : nullptr;
    if (successor && entry.adapter) {
        Store(entry.successor_slot, successor);
        Store(entry.slot, entry.adapter);
    } else if (successor) {
        Store(entry.slot, successor);
    } else if (entry.fallback) {
        Store(entry.slot, entry.fallback);
    } else if (entry.group != Group::kOptional) {
        SetError(error, String::Join({"Error loading function '", entry.name, "' from '",
                                      path.c_str(), "': ", reason.c_str()}));
        return false;
    }
    return true;
}

bool OpenSSLLibrary::CreateContext(Config* config, String* error) {
    SSL_library_init();
    SSL_load_error_strings();
    OpenSSL_add_all_ciphers();
    OpenSSL_add_all_digests();
    context_ = SSL_CTX_new(SSLv23_client_method());
    if (!context_) {
        SetError(error, String::Join({"Error allocating SSL context: ", ErrorReason()}));
        return false;
    }
    int file_length = 0, directory_length = 0;
    const char* file = config->value_string(kConfigFileCa, &file_length);
    const char* directory = config->value_string(kConfigDirCa, &directory_length);
    if (file_length > 0 || directory_length > 0) {
        SSL_CTX_load_verify_locations(context_, file_length > 0 ? file : nullptr,
                                      directory_length > 0 ? directory : nullptr);
    }
    int flags = config->value_integer(kConfigFlagsSecurity);
    bool verify = flags == -1 || (flags & kSecurityNoPeerVerification) == 0;
    SSL_CTX_set_verify(context_, verify ? kVerifyPeer : kVerifyNone, nullptr);
    int config_length = 0;
    const char* ssl_config = config->value_string(kConfigSslConfig, &config_length);
    if (config_length > 0 && OPENSSL_load_builtin_modules && ENGINE_load_builtin_engines &&
        CONF_modules_load_file) {
        OPENSSL_load_builtin_modules();
        ENGINE_load_builtin_engines();
        CONF_modules_load_file(ssl_config, nullptr, 0);
    }
    for (int round = 0; round < kMaximumSeedRounds && RAND_status() == 0; round++) {
        unsigned value = static_cast<unsigned>(rand());
        unsigned char bytes[4] = {static_cast<unsigned char>(value >> 24),
                                  static_cast<unsigned char>(value >> 16),
                                  static_cast<unsigned char>(value >> 8),
                                  static_cast<unsigned char>(value)};
        RAND_seed(bytes, 4);
    }
    return true;
}
