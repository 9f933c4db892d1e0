#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/mail/MimeMessage.h"

#include <optional>

namespace vexil::app {

/// A mail as the user describes it. The message is made from it.
class CMailDraft {
public:
    /// \param name     of the sender, "" for none
    /// \throws CInvalidArgError for an invalid address, like all members
    void setFrom(const String& name, const String& address);
    /// @{

    /// Adds a recipient: named in To, named in Cc, or known to the server only.
    void addTo(const String& address) { addRecipient(m_to, address); }
    void addCc(const String& address) { addRecipient(m_cc, address); }
    void addBcc(const String& address);
    /// @}
    void setSubject(const String& subject);
    void setText(const String& text) { m_text = text; }
    /// \param part  as CMimeMessage::createAttachment() makes it
    void addAttachment(const P<CMimeMessage>& part) { m_attachments.push_back(part); }

    const String& getSender() const noexcept { return m_sender; }
    /// All recipients, in the order in which they were added, without duplicates.
    const TArray<String>& getRecipients() const noexcept { return m_recipients; }

    /// The message with the current date and a new Message-ID: the text alone, or all parts in one.
    P<CMimeMessage> makeMessage() const;

private:
    void addRecipient(TArray<String>& field, const String& address);
    P<CMimeMessage> makeBody() const;
    void addHeaders(CMimeMessage& message) const;

    String m_from;
    String m_sender;
    TArray<String> m_to;
    TArray<String> m_cc;
    TArray<String> m_recipients;
    String m_subject;  // as it is in the header
    std::optional<String> m_text;
    TArray<P<CMimeMessage>> m_attachments;
};

}  // namespace vexil::app
