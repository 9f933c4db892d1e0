#include "apps/vexil/mail/MailRefusal.h"

namespace vexil::app {

namespace {

// Replies of mail servers (RFC 5321, 4.2; RFC 3207, 4; RFC 4954, 6).
constexpr int readyCode = 220;
constexpr int firstAcceptedCode = 250;
constexpr int dataCode = 354;
constexpr int firstRefusalCode = 400;
constexpr int shutdownCode = 421;
constexpr int serverTroubleCode = 451;
constexpr int serverFullCode = 452;
constexpr int firstFinalRefusalCode = 500;
constexpr int lastSyntaxCode = 504;
constexpr int loginRequiredCode = 530;
constexpr int loginTooWeakCode = 534;
constexpr int encryptionRequiredCode = 538;
constexpr int tooLargeCode = 552;

constexpr const char* tryLater = "The server refuses this for now. Try again later.";

/// What the server has refused.
enum class Refused {
    Nothing,
    Connection,  ///< the greeting, or EHLO
    StartTLS,
    Login,
    Sender,  ///< the command MAIL, which may announce the size
    Recipient,
    Data,     ///< the command DATA
    Content,  ///< the message itself
};

/// The replies of the last transfer up to the refusal.
class CReplyCounts {
public:
    CReplyCounts(const TArray<CNetReply>& replies, int refusalCode) {
        for (const CNetReply& reply : replies) {
            if (reply.getCode() == refusalCode) {
                break;
            }
            m_ready += reply.getCode() == readyCode ? 1 : 0;
            m_accepted += reply.getCode() / 10 == firstAcceptedCode / 10 ? 1 : 0;
        }
    }

    /// The number of recipients that the server has accepted. Other replies with this code accept the sender,
    /// and one EHLO for each "ready" of the server: at the beginning and after STARTTLS.
    int getAcceptedRecipients() const { return m_accepted - m_ready - 1; }

private:
    int m_ready = 0;
    int m_accepted = 0;
};

/// The texts about a failed mail.
class CMailFailure {
public:
    CMailFailure(const CCURLError& error, const TArray<CNetReply>& replies, const TArray<String>& recipients,
                 bool mayHaveBeenSent)
        : m_error(error), m_replies(replies), m_recipients(recipients), m_mayHaveBeenSent(mayHaveBeenSent),
          m_refused(findRefused()), m_code(m_refused == Refused::Nothing ? -1 : error.getResponseCode()),
          m_refusal(m_code >= firstRefusalCode ? getReply(replies, m_code) : String()) {}

    CMailError makeError() const {
        const String message = getMessage();
        const bool isReworded = message != m_error.getMessage();
        const CError error(message, m_error.getDomain(), m_error.getCode(), makeProps(),
                           isReworded && isReplyTold() ? m_error.clone() : nullptr);
        return CMailError(error, getAdvice(), isLoginRefused());
    }

private:
    // libcurl's detail names the refused command.
    bool says(const char* text) const { return m_error.getMessage().find(text) != String::npos; }

    Refused findRefused() const {
        const bool isRefusal = m_error.getResponseCode() >= firstRefusalCode;
        switch (static_cast<int>(m_error.getCode())) {
        case CURLE_LOGIN_DENIED:
            return Refused::Login;
        case CURLE_USE_SSL_FAILED:
            return isRefusal ? Refused::StartTLS : Refused::Nothing;
        case CURLE_REMOTE_ACCESS_DENIED:
            return Refused::Connection;
        case CURLE_WEIRD_SERVER_REPLY:
            return getReply(m_replies, dataCode).isEmpty() ? Refused::Connection : Refused::Content;
        default:
            return says("MAIL failed")   ? Refused::Sender
                   : says("RCPT failed") ? Refused::Recipient
                   : says("DATA failed") ? Refused::Data
                                         : Refused::Nothing;
        }
    }

    // A question of the server during a login, or its offer before it, is not the reply to the login.
    bool isReplyTold() const {
        return m_code >= firstRefusalCode || (m_refused != Refused::Nothing && m_refused != Refused::Login);
    }
    bool isTemporary() const { return m_code >= firstRefusalCode && m_code < firstFinalRefusalCode; }
    bool isTooLarge() const {
        return (m_refused == Refused::Sender || m_refused == Refused::Content) &&
               (m_code == tooLargeCode || m_refusal.find(" 5.3.4 ") != String::npos);
    }
    bool isEncryptionMissing() const {
        return m_code == encryptionRequiredCode ||
               (m_code == loginRequiredCode && m_refusal.toLower().find("tls") != String::npos);
    }
    bool isLoginMissing() const { return m_code == loginRequiredCode && !isEncryptionMissing(); }
    // The server offers only login methods that libcurl does not know, or refuses the method and not the
    // credentials.
    bool isLoginOfAnotherKind() const {
        return m_refused == Refused::Login && !isTemporary() && !isEncryptionMissing() &&
               (m_code <= lastSyntaxCode || m_code == loginTooWeakCode);
    }
    bool isLoginRefused() const {
        return isLoginMissing() || (m_refused == Refused::Login && !isTemporary() && !isEncryptionMissing() &&
                                    !isLoginOfAnotherKind());
    }

    String getMessage() const {
        if (m_mayHaveBeenSent) {
            return "The whole mail was sent, but the server's reply did not come or is unclear (" +
                   withoutReply() + "). The server may have accepted the mail.";
        }
        if (isTooLarge()) {
            return "The server refuses the mail because of its size.";
        }
        if (m_refused != Refused::Nothing && isEncryptionMissing()) {
            return "The server demands an encrypted connection.";
        }
        if (isLoginMissing()) {
            return "The server demands a login.";
        }
        if (m_code == shutdownCode) {
            return "The server ends the connection.";
        }
        return getMessageByCommand();
    }

    String getMessageByCommand() const {
        switch (m_refused) {
        case Refused::Connection:
            return "The server refuses the connection.";
        case Refused::StartTLS:
            return "The server refuses to encrypt the connection.";
        case Refused::Login:
            return isTemporary()            ? "The server cannot check the login."
                   : isLoginOfAnotherKind() ? "The server offers no way to log in that this program knows."
                                            : "The server refuses the login.";
        case Refused::Sender:
            return m_code == serverTroubleCode || m_code == serverFullCode
                       ? "The server accepts no mail for now."
                       : "The server refuses the sender.";
        case Refused::Recipient: {
            const String recipient = findRefusedRecipient();
            return recipient.isEmpty() ? String("The server refuses a recipient.")
                                       : "The server refuses the recipient " + recipient + ".";
        }
        case Refused::Data:
            return "The server refuses the mail.";
        case Refused::Content:
            return "The server refuses the content of the mail.";
        case Refused::Nothing:
            break;
        }
        return withoutReply();
    }

    /// libcurl's message, without a reply that is not related to the failure.
    String withoutReply() const {
        String message = m_error.getMessage();
        message.replaceAll(" (response code: " + m_error.getResponseCodeDomain() + " " +
                               String::fromInt(m_error.getResponseCode()) + ")",
                           "");
        return message;
    }

    String getAdvice() const {
        if (m_mayHaveBeenSent) {
            return "Check whether it has arrived before you send it again.";
        }
        if (isTooLarge()) {
            return "Send less, or several mails.";
        }
        if (m_refused != Refused::Nothing && isEncryptionMissing()) {
            return "Try --security starttls, usually on port 587, or --security ssl, usually on port 465.";
        }
        if (isLoginMissing()) {
            return "Give a login: set VEXIL_MAIL_USER and VEXIL_MAIL_PASSWORD. "
                   "The server may accept a login only on an encrypted connection, see --security.";
        }
        if (isTemporary()) {
            return tryLater;
        }
        if (m_error.getCode() == CURLE_USE_SSL_FAILED) {
            return "The server offers no STARTTLS there. "
                   "Try --security ssl or, only in a trusted network, --security unencrypted.";
        }
        if (isLoginOfAnotherKind()) {
            return "Ask the operator of the server for a login with a user name and a password.";
        }
        return isLoginRefused()
                   ? "Check VEXIL_MAIL_USER and VEXIL_MAIL_PASSWORD, or the file of --credentials."
                   : String();
    }

    CProps makeProps() const {
        CProps props;
        if (m_refused == Refused::Recipient) {
            const String recipient = findRefusedRecipient();
            props.addCond(!recipient.isEmpty(), "recipient", recipient);
        }
        for (const auto& [name, value] : m_error.getProps().getEntries()) {
            const bool isReply = name == "serverMessage" || name == "responseCode";
            if (!isReply || isReplyTold()) {
                props.add(name,
                          name == "serverMessage" && !m_refusal.isEmpty() ? m_refusal : value.trimmed());
            }
        }
        // The library may have been unable to decode all lines.
        props.addCond(!props.has("serverMessage") && !m_refusal.isEmpty(), "serverMessage", m_refusal);
        return props;
    }

    String findRefusedRecipient() const {
        const int number = CReplyCounts(m_replies, m_code).getAcceptedRecipients();
        return number >= 0 && static_cast<std::size_t>(number) < m_recipients.size()
                   ? m_recipients[static_cast<std::size_t>(number)]
                   : String();
    }

    const CCURLError& m_error;
    const TArray<CNetReply>& m_replies;
    const TArray<String>& m_recipients;
    const bool m_mayHaveBeenSent;
    const Refused m_refused;
    const int m_code;        // of the reply that is the failure; -1 if there is no such reply
    const String m_refusal;  // the text of that reply, after its code
};

}  // namespace

CMailError makeMailError(const CCURLError& error, const TArray<CNetReply>& replies,
                         const TArray<String>& recipients, bool mayHaveBeenSent) {
    return CMailFailure(error, replies, recipients, mayHaveBeenSent).makeError();
}

String getReply(const TArray<CNetReply>& replies, int code) {
    String last;
    for (const CNetReply& reply : replies) {
        if (reply.getCode() == code) {
            last = reply.getText();
            last.replaceAll("\n", " ");
            last = String::fromInt(code) + " " + last.trimmed();
        }
    }
    return last.trimmed();
}

}  // namespace vexil::app
