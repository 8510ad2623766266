#pragma once

#include "base/StringClass.h"

class Config;
struct asn1_string_st;
struct bio_st;
struct evp_pkey_st;
struct ssl_ctx_st;
struct ssl_method_st;
struct ssl_st;
struct stack_st;
struct x509_st;
struct X509_name_entry_st;
struct X509_name_st;

// OpenSSL as the engine uses it: loaded at run time with dlopen from the
// configured ssl_openssl and ssl_crypto paths, never linked, and called
// through the function pointers below. Each pointer has the calling form of
// the classic (0.9.8/1.0) interface; on a later OpenSSL it points at the
// successor of that function, or at a small adapter where the successor
// takes other arguments. The object also holds the one client SSL_CTX.
class OpenSSLLibrary {
  public:
    // The callback of the PEM readers for the password of a key.
    using PasswordCallback = int (*)(char* buffer, int size, int rwflag, void* userdata);

    OpenSSLLibrary() = default;
    // The end-of-request cleanup: frees the context, lets OpenSSL release
    // its tables and closes both libraries.
    ~OpenSSLLibrary();
    OpenSSLLibrary(const OpenSSLLibrary&) = delete;
    OpenSSLLibrary& operator=(const OpenSSLLibrary&) = delete;

    // Loads the libraries, fetches every function and builds the client
    // context from config. True once the context exists; otherwise false
    // with the reason in *error (when given). A later call resumes: what was
    // opened or fetched already is kept.
    bool Initialize(Config* config, String* error);
    // The address of the named OpenSSL function, from the ssl library, else
    // the crypto library; null when not loaded or not there.
    void* GetFunction(const char* name);
    // The client context; null until Initialize succeeded.
    ssl_ctx_st* context() const { return context_; }

    // ssl, in order of loading.
    unsigned long (*SSLeay)() = nullptr;
    int (*SSL_library_init)() = nullptr;
    void (*SSL_load_error_strings)() = nullptr;
    const ssl_method_st* (*SSLv23_client_method)() = nullptr;
    ssl_ctx_st* (*SSL_CTX_new)(const ssl_method_st*) = nullptr;
    void (*SSL_CTX_free)(ssl_ctx_st*) = nullptr;
    void (*SSL_CTX_set_verify)(ssl_ctx_st*, int, int (*)(int, void*)) = nullptr;
    int (*SSL_CTX_load_verify_locations)(ssl_ctx_st*, const char*, const char*) = nullptr;
    ssl_st* (*SSL_new)(ssl_ctx_st*) = nullptr;
    int (*SSL_set_fd)(ssl_st*, int) = nullptr;
    int (*SSL_connect)(ssl_st*) = nullptr;
    int (*SSL_read)(ssl_st*, void*, int) = nullptr;
    int (*SSL_write)(ssl_st*, const void*, int) = nullptr;
    int (*SSL_get_error)(const ssl_st*, int) = nullptr;
    x509_st* (*SSL_get_peer_certificate)(const ssl_st*) = nullptr;
    long (*SSL_ctrl)(ssl_st*, int, long, void*) = nullptr;
    void (*SSL_free)(ssl_st*) = nullptr;

    // crypto, in order of loading.
    void (*OpenSSL_add_all_ciphers)() = nullptr;
    void (*OpenSSL_add_all_digests)() = nullptr;
    void (*EVP_cleanup)() = nullptr;
    void (*CRYPTO_cleanup_all_ex_data)() = nullptr;
    unsigned long (*ERR_get_error)() = nullptr;
    const char* (*ERR_reason_error_string)(unsigned long) = nullptr;
    void (*RAND_seed)(const void*, int) = nullptr;
    int (*RAND_status)() = nullptr;
    int (*RAND_bytes)(unsigned char*, int) = nullptr;
    bio_st* (*BIO_new_mem_buf)(const void*, int) = nullptr;
    long (*BIO_ctrl)(bio_st*, int, long, void*) = nullptr;
    x509_st* (*PEM_read_bio_X509)(bio_st*, x509_st**, PasswordCallback, void*) = nullptr;
    evp_pkey_st* (*PEM_read_bio_PrivateKey)(bio_st*, evp_pkey_st**, PasswordCallback,
                                            void*) = nullptr;
    x509_st* (*d2i_X509_bio)(bio_st*, x509_st**) = nullptr;
    evp_pkey_st* (*d2i_PrivateKey_bio)(bio_st*, evp_pkey_st**) = nullptr;
    int (*BIO_free)(bio_st*) = nullptr;
    void* (*X509_get_ext_d2i)(const x509_st*, int, int*, int*) = nullptr;
    int (*sk_num)(const stack_st*) = nullptr;
    void* (*sk_value)(const stack_st*, int) = nullptr;
    void (*sk_free)(stack_st*) = nullptr;
    void (*GENERAL_NAME_free)(void*) = nullptr;
    void (*sk_pop_free)(stack_st*, void (*)(void*)) = nullptr;
    const unsigned char* (*ASN1_STRING_data)(const asn1_string_st*) = nullptr;
    int (*ASN1_STRING_length)(const asn1_string_st*) = nullptr;
    X509_name_st* (*X509_get_subject_name)(const x509_st*) = nullptr;
    int (*X509_NAME_get_index_by_NID)(X509_name_st*, int, int) = nullptr;
    X509_name_entry_st* (*X509_NAME_get_entry)(const X509_name_st*, int) = nullptr;
    void (*X509_free)(x509_st*) = nullptr;
    void (*EVP_PKEY_free)(evp_pkey_st*) = nullptr;

    // ssl, after the crypto group.
    int (*SSL_use_certificate)(ssl_st*, x509_st*) = nullptr;
    int (*SSL_use_PrivateKey)(ssl_st*, evp_pkey_st*) = nullptr;
    stack_st* (*SSL_COMP_get_compression_methods)() = nullptr;

    // Optional: null when the library has no such function.
    void (*ERR_free_strings)() = nullptr;
    void (*OPENSSL_load_builtin_modules)() = nullptr;
    void (*ENGINE_load_builtin_engines)() = nullptr;
    int (*CONF_modules_load_file)(const char*, const char*, unsigned long) = nullptr;
    void (*ERR_remove_state)(unsigned long) = nullptr;
    void (*ERR_remove_thread_state)(const void*) = nullptr;
    // The text of a name entry. Libraries before 1.1 lack it; their entry
    // keeps its text right behind the object pointer.
    asn1_string_st* (*X509_NAME_ENTRY_get_data)(const X509_name_entry_st*) = nullptr;

    // The text of a name entry, through whichever form the library has.
    asn1_string_st* NameEntryData(const X509_name_entry_st* entry) const;
    // The reason text of the oldest queued OpenSSL error, "Unknown error"
    // when there is none.
    const char* ErrorReason();

  private:
    struct Entry;
    enum class Group { kSSL, kCrypto, kOptional };

    bool OpenLibraries(Config* config, String* error);
    bool FetchFunctions(String* error);
    bool Fetch(const Entry& entry, String* error);
    bool CreateContext(Config* config, String* error);

    void* ssl_handle_ = nullptr;
    void* crypto_handle_ = nullptr;
    // Where the crypto functions come from: the ssl handle when it has
    // them, else the crypto handle.
    void* crypto_source_ = nullptr;
    String ssl_path_;
    String crypto_source_path_;
    ssl_ctx_st* context_ = nullptr;
    // The library predates 1.1: it owns no cleanup of its own, so the
    // compression methods are freed here.
    bool classic_interface_ = false;
};
