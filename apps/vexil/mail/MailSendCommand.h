#pragma once

#include "apps/vexil/command/Command.h"
#include "apps/vexil/mail/MailServerOptions.h"

#include <string>
#include <vector>

namespace vexil::app {

class CMailDraft;

/// `vexil mail send`: one mail, with a text and files.
class CMailSendCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CContext& context) override;

private:
    CMailDraft makeDraft(CContext& context) const;

    CMailServerOptions m_server;
    std::string m_from;
    std::string m_name;
    std::vector<std::string> m_to;
    std::vector<std::string> m_cc;
    std::vector<std::string> m_bcc;
    std::string m_subject;
    std::string m_textFile;
    std::vector<std::string> m_attachments;
};

}  // namespace vexil::app
