#include "apps/vexil/MailRefusal.h"

namespace vexil::app {

namespace {

constexpr int firstRefusalCode = 400;

/// Replies of the last transfer up to the refusal; lines of a longer reply but its last do not count (RFC 5321, 4.2.1).
class CReplyCounts {
public:
    CReplyCounts(const CNetRequest& request, const String& refusalCode) {
        const P<CNetStringList::CIterator> lines = request.getResponseInfo().createIterator();
        while (lines->next() && !lines->getEntry().startsWith(refusalCode)) {
            count(lines->getEntry());
        }
    }

    /// Recipients that the server has accepted. What else it accepts with such a code is one greeting of ours for each
    /// "ready" of its own, which comes at the beginning and behind STARTTLS, and the sender.
    int getAcceptedRecipients() const { return m_accepted - m_ready - 1; }

private:
    void count(const String& line) {
        if (line.length() > 3 && line[3] == L'-') {
            return;
        }
        m_ready += line.startsWith("220") ? 1 : 0;
        m_accepted += line.startsWith("25") ? 1 : 0;
    }

    int m_ready = 0;
    int m_accepted = 0;
};

String findRefusedRecipient(const CCURLError& error, const CNetRequest& request,
                            const TArray<String>& recipients) {
    const CReplyCounts replies(request, String::fromInt(error.getResponseCode()));
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
        props.add(name, name == "serverMessage" && !refusal.isEmpty() ? refusal : value.trimmed());
    }
    const bool isReworded = message != error.getMessage();
    return CError(message, error.getDomain(), error.getCode(), props, isReworded ? error.clone() : nullptr);
}

String getReply(const CNetRequest& request, int code) {
    const String start = String::fromInt(code);
    // Each line has the code in front.
    String text = "\n" + request.getResponseText(code);
    text.replaceAll("\n" + start + "-", " ");
    text.replaceAll("\n" + start, "");
    text.trim();
    return text.isEmpty() ? text : start + " " + text;
}

}  // namespace vexil::app
