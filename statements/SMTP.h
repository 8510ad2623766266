#pragma once

#include <memory>

#include "base/StringClass.h"
#include "runtime/Feature.h"

class Output;
class SMTPOutput;
class SMTPService;

// The state of one OxSMTP statement: the conversation with the mail server
// and the output that carries the script's printing into the message. It
// stands on the machine's feature stack while the body runs; deleting it
// ends the mail as op_smtp_end would.
class SMTP : public Feature {
  public:
    // The statement's operands as the script gave them.
    struct Arguments {
        String to, from, host, cc, subject, flags, username, password;
        int port = 25;
        bool logging = false;
    };

    SMTP(OxinApplication* application, OxinVM* vm, Arguments arguments);
    ~SMTP() override;

    // Parses the flags, connects and greets the server, authenticates, and
    // makes the mail's output the current one. False with error() set.
    bool Connect();
    // Sends the envelope and starts the message.
    bool Start();
    // Restores the output the script had, ends the message and says QUIT.
    // False with error() set; a second call does nothing.
    bool Finish();

    // The bits of the flags text ("tls", "starttls", "noheaders", separated
    // by commas or white space, in any case); false with error() set.
    bool ParseFlags(const String& text, unsigned* flags);

  private:
    Arguments arguments_;
    Output* previous_output_ = nullptr;
    bool output_set_ = false;
    bool started_ = false;
    std::unique_ptr<SMTPService> service_;
    std::unique_ptr<SMTPOutput> output_;
};
