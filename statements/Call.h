#pragma once

#include <memory>

#include "base/List.h"
#include "base/StringClass.h"
#include "runtime/Feature.h"
#include "statements/CallFile.h"

class CallBuffer;
class CallScanner;
class HTTPResponseStream;
class NetworkConnection;
class VariableHash;
class VariableList;

// The state of one OxCALL loop: the request sent (a query, a form, a raw
// body or a multipart upload), the response it got, and the scanner that
// hands the script one object of the response at a time. It stands on the
// machine's feature stack from the opening instruction to the end of the
// response or OxCALLSTOP. Deleting it closes the connection.
class Call : public Feature {
  public:
    // Results of Find_Next_Element.
    static constexpr int kObject = 0;
    static constexpr int kEnd = 2;
    static constexpr int kError = 3;
    // Body modes of the request.
    enum BodyMode { kNoBody = 0, kQueryString = 1, kURLEncoded = 2, kRawBody = 3 };

    // The arguments of the statement as the script gave them; certificate
    // strings are null when absent. timeout is the script's (0: the
    // configured bound).
    struct Arguments {
        String url, method, fields, files, content_type;
        std::unique_ptr<String> certificate_file, certificate_data, certificate_type,
            certificate_password;
        int timeout = 0;
        bool logging = false;
    };

    Call(OxinApplication* application, OxinVM* vm, Arguments arguments);
    ~Call() override;

    // Sends the request with the extra header lines given (each ending in a
    // line break) and reads the response head into callreturnheader and
    // callnumberofheaders. False with error() set.
    bool Connect(const char* headers, int headers_length);
    // Publishes the next object of the response: kObject, kEnd or kError
    // with error() set.
    int Find_Next_Element();

    // The effective timeout: the configured timeout_call bounds the
    // script's, and stands for a timeout of 0.
    static int Effective_Timeout(int requested, int configured);
    int timeout() const { return timeout_; }
    int body_mode() const { return body_mode_; }
    const String& http_method() const { return http_method_; }
    const String& content_type() const { return content_type_; }
    // Whether the statement's traffic goes to the log.
    bool logging() const { return logging_; }

  private:
    // Chooses the body mode, wire method and default content type.
    void Choose_Method();
    bool BuildFileList();
    bool OpenURLEncodedConnection(const char* headers, int headers_length);
    bool OpenMultipartConnection(const char* headers, int headers_length);
    // Opens the URL with the request head and body given; false with the
    // error set.
    bool Open(const char* body, int body_length, const char* headers, int headers_length);
    // name=value of every field, URL-encoded and joined by "&".
    String Encoded_Fields();
    bool Send_Files(const String& boundary);
    bool Process_Headers();
    bool Fail(const String& text);

    VariableHash* variables_;
    NetworkConnection* connection_ = nullptr;  // owned until response_ takes it
    std::unique_ptr<HTTPResponseStream> response_;
    String url_, method_, http_method_, fields_text_, files_text_, content_type_;
    std::unique_ptr<String> certificate_file_, certificate_data_, certificate_type_,
        certificate_password_;
    int read_buffer_size_;
    std::unique_ptr<CallBuffer> buffer_;
    std::unique_ptr<VariableList> fields_;
    List<CallFile> files_{1};
    List<String> parts_{1};
    bool logging_;
    int timeout_;
    int content_buffer_size_;
    int body_mode_ = kNoBody;
    std::unique_ptr<CallScanner> scanner_;
};
