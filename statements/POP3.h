#pragma once

#include <memory>
#include <vector>

#include "base/StringClass.h"
#include "runtime/Feature.h"

class NetworkConnection;
class POP3Message;
class VariableHash;

// The state of one OxPOP loop: a plain POP3 conversation on port 110, the
// list of the mailbox's messages, and the one fetched for the body now
// running, whose headers are in the system variables. Deleting it says QUIT,
// which is when the server applies deletions.
class POP3 : public Feature {
  public:
    // Results of the operations.
    static constexpr int kDone = 0;
    static constexpr int kMore = 1;  // more lines to read, or a message fetched
    static constexpr int kEmpty = 2;
    static constexpr int kFailed = 3;

    // Messages go to files in directory; their headers to variables.
    POP3(OxinApplication* application, OxinVM* vm, VariableHash* variables, String directory);
    ~POP3() override;

    // Connects to host on port 110 and reads the greeting.
    virtual int Connect(const char* host);
    virtual int Login(const String& user, const String& password);
    // STAT: learns the message count.
    virtual int GetStat();
    // LIST: the number and size of each message.
    virtual int BuildMessageList();
    // Fetches the first message: kMore, kEmpty without messages, kFailed.
    virtual int GetFirstMessage();
    // Fetches the next message: kMore, kDone past the last, kFailed.
    virtual int GetNextMessage();
    // DELE of the current message, applied by the server at QUIT.
    virtual int DeleteMessage();
    // RETR of message into a new file of the directory, and its headers
    // into the variables.
    virtual int GetMessage(POP3Message* message);
    // Writes a command and reads its reply as the response states say.
    virtual int SendCommand(const char* text, int length);
    virtual int ReadResponses();
    // Judges one reply line (CR and what follows cut off) in the current
    // state and moves to the next.
    virtual int ProcessResponse(const char* line, int length);
    // QUIT, then the connection goes.
    virtual void Disconnect();
    virtual int CurrentMessageIndex() const { return current_; }
    void Error(const String& text) override { Feature::Error(text); }
    // kFailed with text as the error.
    virtual int Error(const char* text, int length);

    // Whether line ends a multi-line reply; otherwise *copy and
    // *copy_length give the line with its stuffing dot undone.
    static bool EOT(const char* line, int length, const char** copy, int* copy_length);

  private:
    enum State { kGreeting = 0, kListing = 1, kRetrieving = 2, kStatus = 3 };

    int SendCommand(const String& text) { return SendCommand(text.c_str(), text.length()); }
    int Failure(const char* line, int length);
    int TakeStatus(const char* line, int length);
    int TakeListing(const char* line, int length);
    void PublishHeaders(POP3Message* message);
    // The message at index, or null when LIST did not name it.
    POP3Message* Message(long index) const;

    VariableHash* variables_;
    int timeout_;
    int state_ = kGreeting;
    int next_state_ = kGreeting;
    std::unique_ptr<NetworkConnection> connection_;
    String directory_;
    // The count that STAT gave; messages_ grows as LIST names them.
    long count_ = 0;
    std::vector<std::unique_ptr<POP3Message>> messages_;
    int current_ = 0;
    POP3Message* fetching_ = nullptr;  // the message RETR fills
    String default_subject_{"(no subject)"};
};
