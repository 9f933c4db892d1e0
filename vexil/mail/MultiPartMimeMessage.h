#pragma once

#include "vexil/mail/MimeMessage.h"

namespace vexil {

/// A message whose body consists of other messages (RFC 2046, 5.1), separated by a random boundary.
///
/// A value; copies share the parts and have the same boundary. One thread at a time.
///
/// \code
/// CMultiPartMimeMessage message;
/// const P<CMimeMessage> text = new CMimeMessage("");
/// text->setTextBody("The list of files is attached.");
/// message.addPart(text);
/// message.addPart(CMimeMessage::createAttachment("files.txt", "text/plain", list));
/// \endcode
class VEXIL_API CMultiPartMimeMessage : public CMimeMessage {
public:
    /// \param subtype  relation of the parts: "mixed", "alternative", "related"
    explicit CMultiPartMimeMessage(const String& subtype = "mixed");
    CMultiPartMimeMessage(const CMultiPartMimeMessage&) = default;
    CMultiPartMimeMessage(CMultiPartMimeMessage&&) = default;
    CMultiPartMimeMessage& operator=(const CMultiPartMimeMessage&) = default;
    CMultiPartMimeMessage& operator=(CMultiPartMimeMessage&&) = default;
    ~CMultiPartMimeMessage() override;

    /// Appends a part; a reference is kept, and later changes of the part are written, too. Null is ignored.
    void addPart(const CMimeMessage* part);
    /// The text between the parts: at least 10 lower-case hexadecimal digits.
    String getBoundary() const { return m_boundary; }

    /// Not allowed, because the body consists of the parts.
    /// \throws CError always, "CMultiPartMimeMessage::setBody should not be used."
    void setBody(const TBuffer<unsigned char>* body, const String& transferEncoding) override;
    /// Writes the parts, each with its header, between boundaries.
    void storeBody(zet::IOutStream& out) const override;

private:
    TArray<PC<CMimeMessage>> m_parts;
    String m_boundary;
};

}  // namespace vexil
