#include "apps/vexil/MailRefusal.h"

namespace vexil::app {

namespace {

constexpr int readyCode = 220;
constexpr int firstAcceptedCode = 250;
constexpr int challengeCode = 334;
constexpr int firstRefusalCode = 400;

/// Replies of the last transfer up to the refusal.
class CReplyCounts {
public:
    CReplyCounts(const CNetRequest& request, int refusalCode) {
        for (const CNetReply& reply : request.getReplies()) {
            if (reply.getCode() == refusalCode) {
                break;
            }
            m_ready += reply.getCode() == readyCode ? 1 : 0;
            m_accepted += reply.getCode() / 10 == firstAcceptedCode / 10 ? 1 : 0;
        }
    }

    /// Recipients that the server has accepted. What else it accepts with such a code is one greeting of ours for each
    /// "ready" of its own, which comes at the beginning and behind STARTTLS, and the sender.
    int getAcceptedRecipients() const { return m_accepted - m_ready - 1; }

private:
    int m_ready = 0;
    int m_accepted = 0;
};

String findRefusedRecipient(const CCURLError& error, const CNetRequest& request,
                            const TArray<String>& recipients) {
    const CReplyCounts replies(request, error.getResponseCode());
    const int number = replies.getAcceptedRecipients();
    return number >= 0 && static_cast<std::size_t>(number) < recipients.size()
               ? recipients[static_cast<std::size_t>(number)]
               : String();
}

}  // namespace

CError makeMailError(const CCURLError& error, const CNetRequest& request, const TArray<String>& recipients) {
    String message = error.getMessage();
    CProps props;
    // libcurl names the command that was refused in its detail.
    if (message.find("RCPT failed") != String::npos) {
        const String recipient = findRefusedRecipient(error, request, recipients);
        props.addCond(!recipient.isEmpty(), "recipient", recipient);
        message = recipient.isEmpty() ? "The server refuses a recipient."
                                      : "The server refuses the recipient " + recipient + ".";
    } else if (message.find("MAIL failed") != String::npos) {
        message = "The server refuses the sender.";
    }
    const String refusal =
        error.getResponseCode() >= firstRefusalCode ? getReply(request, error.getResponseCode()) : String();
    for (const auto& [name, value] : error.getProps().getEntries()) {
        const bool isServerMessage = name == "serverMessage";
        // What a server asks in the middle of a login is no message.
        if (!isServerMessage || error.getResponseCode() != challengeCode) {
            props.add(name, isServerMessage && !refusal.isEmpty() ? refusal : value.trimmed());
        }
    }
    // None of the lines may have been readable to the library.
    props.addCond(!props.has("serverMessage") && !refusal.isEmpty(), "serverMessage", refusal);
    const bool isReworded = message != error.getMessage();
    return CError(message, error.getDomain(), error.getCode(), props, isReworded ? error.clone() : nullptr);
}

String getReply(const CNetRequest& request, int code) {
    String last;
    for (const CNetReply& reply : request.getReplies()) {
        if (reply.getCode() == code) {
            last = reply.getText();
            last.replaceAll("\n", " ");
            last = String::fromInt(code) + " " + last.trimmed();
        }
    }
    return last.trimmed();
}

}  // namespace vexil::app
