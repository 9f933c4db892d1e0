#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/mail/Commands.h"
#include "apps/vexil/mail/MailContent.h"
#include "apps/vexil/mail/MailDraft.h"
#include "apps/vexil/mail/MailRefusal.h"
#include "apps/vexil/mail/MailSession.h"
#include "apps/vexil/session/Session.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

// ---- send -------------------------------------------------------------------------------------------------

constexpr int acceptedCode = 250;

String toText(const std::string& argument) {
    return String::fromUTF8Lossy(argument);
}

class CMailSendCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CMailDraft makeDraft(CSession& session) const;

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

void CMailSendCommand::define(CCommandSyntax& syntax) {
    syntax.command("send", "Send a mail")
        .option("--from", "ADDRESS", m_from, "The sender, such as jo@example.com")
        .option("--name", "NAME", m_name, "The sender's name")
        .options("--to", "ADDRESS", m_to, "A recipient; may be repeated")
        .options("--cc", "ADDRESS", m_cc, "A recipient of a copy; may be repeated")
        .options("--bcc", "ADDRESS", m_bcc,
                 "A recipient of a copy whom the others do not see; may be repeated")
        .option("--subject", "TEXT", m_subject, "The subject line")
        .fileOption("--text", m_textFile,
                    "The text in UTF-8; - for standard input (default: no text). May be a pipe")
        .options("--attach", "FILE", m_attachments, "A file or pipe to attach; may be repeated");
    m_server.define(syntax);
    syntax.footer(R"(Examples:
  vexil mail send --server mail.example.com --from backup@example.com \
      --to jo@example.com --subject 'Backup done' --text report.txt --attach files.txt
  df -h | vexil mail send --from backup@example.com --to jo@example.com --text -

If the server refuses one recipient, nobody gets the mail. If the connection fails after the whole mail was
sent, the server may have accepted it: the message says so, and the exit code is 1. A recipient that is
named twice gets the mail once.)");
}

ExitCode CMailSendCommand::run(CSession& session) {
    const CMailDraft draft = makeDraft(session);
    CMailSession mail(session, m_server);
    mail.send(draft);
    session.getConsole().message(
        Verbosity::Info, "sent: " + printable(getReply(mail.getRequest().getReplies(), acceptedCode)));
    return ExitCode::Done;
}

CMailDraft CMailSendCommand::makeDraft(CSession& session) const {
    CMailDraft draft;
    draft.setFrom(toText(m_name), toText(m_from));
    for (const std::string& address : m_to) {
        draft.addTo(toText(address));
    }
    for (const std::string& address : m_cc) {
        draft.addCc(toText(address));
    }
    for (const std::string& address : m_bcc) {
        draft.addBcc(toText(address));
    }
    if (draft.getRecipients().empty()) {
        throw CInvalidArgError("CMailSendCommand",
                               "there is no recipient: give one with --to, --cc or --bcc");
    }
    draft.setSubject(toText(m_subject));
    if (!m_textFile.empty()) {
        draft.setText(readMailText(m_textFile, session.getConsole()));
    }
    for (const std::string& file : m_attachments) {
        draft.addAttachment(makeMailAttachment(toPath(file)));
    }
    return draft;
}

// ---- test -------------------------------------------------------------------------------------------------

class CMailTestCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CMailServerOptions m_server;
};

void CMailTestCommand::define(CCommandSyntax& syntax) {
    syntax.command("test", "Connect to a mail server and log in");
    m_server.define(syntax);
    syntax.footer(R"(Example:
  vexil mail test --server mail.example.com --security ssl)");
}

ExitCode CMailTestCommand::run(CSession& session) {
    CMailSession mail(session, m_server);
    mail.test();
    session.getConsole().print(mail.describe());
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeMailSend() {
    return std::make_unique<CMailSendCommand>();
}

std::unique_ptr<CCommand> makeMailTest() {
    return std::make_unique<CMailTestCommand>();
}

}  // namespace vexil::app
