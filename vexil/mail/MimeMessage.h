#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "zet/OutStream.h"

namespace vexil {

/// A message with header fields and a body (RFC 5322, RFC 2045). It can be written to a stream or put into a
/// request.
///
/// Each header field has one value. Fields are written in the ordinal order of their names. A value with
/// characters that are not ASCII is written completely as encoded words (RFC 2047): for addresses use
/// makeAddress(), which encodes only the display name. ASCII values are written unchanged, whatever their
/// length.
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
    /// Makes a message without a body. Sets "MIME-Version" to "1.0" and, unless `contentType` is "",
    /// "Content-Type".
    explicit CMimeMessage(const String& contentType);
    CMimeMessage(const CMimeMessage&) = default;
    CMimeMessage(CMimeMessage&&) = default;
    CMimeMessage& operator=(const CMimeMessage&) = default;
    CMimeMessage& operator=(CMimeMessage&&) = default;
    ~CMimeMessage() override;

    /// Makes a part of a multipart message with a file (RFC 2183), in base64. The name is written in ASCII,
    /// with "_" for other characters; if it has any, also in the form of RFC 2231.
    /// \param name         1 to 255 bytes of UTF-8 without control characters
    /// \param contentType  such as "application/pdf", "" for none
    /// \param buffer       the file's bytes, not null; not used after this call
    /// \throws CInvalidArgError for an invalid name and a null buffer
    static P<CMimeMessage> createAttachment(const String& name, const String& contentType,
                                            const TBuffer<unsigned char>* buffer);

    /// The header fields with their values before encoding; may be changed.
    TMap<String, String>& getHeaders() noexcept { return m_headers; }

    /// Sets the body's bytes, which are written unchanged: they must already have the transfer encoding, and
    /// line ends of CR LF. A reference is kept; null for no body.
    /// \param transferEncoding  value of "Content-Transfer-Encoding"; "" removes the field
    virtual void setBody(const TBuffer<unsigned char>* body, const String& transferEncoding);
    /// Sets a text as the body, with a suitable transfer encoding: none for ASCII in short lines, otherwise
    /// the shorter one of quoted-printable and base64. Line ends of any kind become CR LF. Sets
    /// "Content-Type" to "text/plain; charset=utf-8" unless the message already has one; that one must name
    /// the same charset.
    void setTextBody(const String& text);

    /// Writes header and body.
    virtual void store(zet::IOutStream& out) const;
    /// Writes the header and the empty line after it.
    /// \throws CInvalidArgError, before anything is written, for a name that is "" or contains a space, a
    ///         control character or ":", and for a field with a NUL or with a CR or LF that is not part of a
    ///         fold (CR LF and a space or tab): each would begin another field or end the header
    virtual void storeHeader(zet::IOutStream& out) const;
    /// Writes the body.
    virtual void storeBody(zet::IOutStream& out) const;

    /// Converts a text to encoded words (RFC 2047, "Q" in UTF-8) of at most 75 characters, separated by CR LF
    /// and a space. Letters and digits stay, everything else is encoded. "" for "".
    [[nodiscard]] static String toEncodedWord(const String& text);
    /// Converts a text for a field such as "Subject", so that a mail reader shows exactly this text. The
    /// result has encoded words if the text has characters that are not ASCII, has more than 900 characters
    /// or looks like an encoded word ("=?...?="). Other fields are written unchanged if they are ASCII. Any
    /// thread.
    /// \throws CInvalidArgError for a text with CR, LF or NUL
    [[nodiscard]] static String toHeaderText(const String& text);
    /// Puts a text in double quotes, with a backslash before each backslash, double quote and CR.
    [[nodiscard]] static String toQuotedString(const String& text);

    /// Adds the header fields, unencoded and unfolded, to the headers of an HTTP request.
    /// \throws CInvalidArgError as storeHeader() does, before any is added
    void updateNetHeaders(CNetHeaders& headers);
    /// Makes the message the body of a request. Its fields are added to the request's header list, which is
    /// created if there is none. The body, without the header, becomes the send data with its size. Call it
    /// after CNetRequest::setHTTPMethod().
    /// \throws CInvalidArgError as storeHeader() does, before the request is changed
    void fillRequest(CNetRequest& request);

protected:
    /// The line of a field, without its line end.
    [[nodiscard]] static String makeHeaderField(const String& name, const String& value);

private:
    void checkNetHeaders(const char* place) const;

    TMap<String, String> m_headers;
    PC<TBuffer<unsigned char>> m_body;
};

}  // namespace vexil
