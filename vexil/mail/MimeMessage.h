#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

namespace vexil {

/// A message with header fields and a body (RFC 5322, RFC 2045), to be written to a stream or poured into a request.
///
/// Header fields are values by name, of which each name has one. They are written in the ordinal order of their names;
/// a value with a character beyond ASCII becomes encoded words (RFC 2047), as a whole: for addresses use makeAddress(),
/// which encodes the display name only. ASCII values are written as they are, however long.
///
/// A value; copies share the body. One thread at a time.
///
/// \code
/// CMimeMessage message("text/plain; charset=utf-8");
/// message.getHeaders()["From"] = makeAddress("Backup", "backup@example.com");
/// message.getHeaders()["To"] = makeAddress("Jürgen Groß", "jg@example.com");
/// message.getHeaders()["Subject"] = "Bericht für März";
/// message.setTextBody("Alles gesichert.\n");
/// client.sendMail("backup@example.com", {"jg@example.com"}, message);
/// \endcode
class VEXIL_API CMimeMessage : public virtual CBase {
public:
    /// Without a body. Sets "MIME-Version" to "1.0" and, where `contentType` is not "", "Content-Type".
    explicit CMimeMessage(const String& contentType);
    CMimeMessage(const CMimeMessage&) = default;
    CMimeMessage(CMimeMessage&&) = default;
    CMimeMessage& operator=(const CMimeMessage&) = default;
    CMimeMessage& operator=(CMimeMessage&&) = default;
    ~CMimeMessage() override;

    /// A part of a multipart message that holds a file (RFC 2183), in base64. The name is there in ASCII, with "_" for
    /// what is not, and in the form of RFC 2231 where it needs more.
    /// \param name         1 to 255 bytes of UTF-8 without control characters
    /// \param contentType  such as "application/pdf", "" for none
    /// \param buffer       the file's bytes, not null; not used after this call
    /// \throws CInvalidArgError for a name or a buffer that is none
    static P<CMimeMessage> createAttachment(const String& name, const String& contentType,
                                            const TBuffer<unsigned char>* buffer);

    /// The header fields, values as they are before encoding; to be changed as one likes.
    TMap<String, String>& getHeaders() noexcept { return m_headers; }

    /// Sets the body's bytes, which are written as they are: they must have the transfer encoding already, and line
    /// ends of CR LF. A reference is kept; null for no body.
    /// \param transferEncoding  goes into "Content-Transfer-Encoding"; "" takes the field away
    virtual void setBody(const TBuffer<unsigned char>* body, const String& transferEncoding);
    /// Sets a text as the body, in the transfer encoding that suits it (none for ASCII in short lines, else
    /// quoted-printable or base64, whichever is shorter). Line ends of any kind become CR LF. Sets "Content-Type" to
    /// "text/plain; charset=utf-8" where the message has none: another one must name that charset.
    void setTextBody(const String& text);

    /// Writes header and body.
    virtual void store(zet::IOutStream& out) const;
    /// Writes the header with the empty line behind it.
    /// \throws CInvalidArgError, before anything is written, for a name that is "" or has a space, a control character
    ///         or ":", and for a field with a NUL or with a CR or LF that does not fold it (CR LF and a space or tab): each
    ///         would begin another field or end the header
    virtual void storeHeader(zet::IOutStream& out) const;
    /// Writes the body.
    virtual void storeBody(zet::IOutStream& out) const;

    /// A text as encoded words (RFC 2047, "Q" in UTF-8) of at most 75 characters, with a CR LF and a blank between
    /// them. Letters and digits stay, everything else is encoded. "" for "".
    static String toEncodedWord(const String& text);
    /// A text for a field such as "Subject", which a reader of the mail sees as it is here: in encoded words if it has
    /// characters beyond ASCII, more than 900 characters or the look of an encoded word ("=?...?="). Unlike fields in
    /// general, which are written as they are if they are ASCII. Any thread.
    /// \throws CInvalidArgError for a text with CR, LF or NUL
    static String toHeaderText(const String& text);
    /// A text in double quotes, with a backslash before each backslash, double quote and CR.
    static String toQuotedString(const String& text);

    /// Adds the header fields, not encoded and each in one line, to the headers of an HTTP request.
    /// \throws CInvalidArgError as storeHeader() does, before any is added
    void updateNetHeaders(CNetHeaders& headers);
    /// Makes the message the body of a request: its fields are added to the request's header list, which is made
    /// where there is none, and the body, without the header, is set as its send data with their size. Use it behind
    /// CNetRequest::setHTTPMethod().
    /// \throws CInvalidArgError as storeHeader() does, before the request is changed
    void fillRequest(CNetRequest& request);

protected:
    /// A field's line without its line end.
    static String makeHeaderField(const String& name, const String& value);

private:
    void checkNetHeaders(const char* place) const;

    TMap<String, String> m_headers;
    PC<TBuffer<unsigned char>> m_body;
};

}  // namespace vexil
