#include "apps/vexil/mail/MailDraft.h"

#include "apps/vexil/base/Text.h"
#include "vexil/mail/MailAddress.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/net/HeaderValues.h"
#include "zet/MTRand.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace vexil::app {

namespace {

// Within a header field these characters separate or group addresses (RFC 5322, 3.2.3).
constexpr std::wstring_view specials = L"(),:;[\\]";
constexpr std::size_t maxAddressLength = 254;  // RFC 5321, 4.5.3.1.3, without "<" and ">"

void checkAddress(const String& address) {
    const auto isASCII = [](wchar_t c) { return static_cast<std::uint32_t>(c) < 128; };
    if (!isValidEmailAddress(address) ||
        !std::all_of(address.view().begin(), address.view().end(), isASCII) ||
        address.view().find_first_of(specials) != std::wstring_view::npos) {
        throw CInvalidArgError("CMailDraft",
                               "'" + printable(address) + "' is not a mail address, such as jo@example.com");
    }
    if (address.length() > maxAddressLength) {
        throw CInvalidArgError("CMailDraft",
                               "the mail address '" + printable(address) + "' has more than 254 characters");
    }
}

/// Only the domain ignores letter case (RFC 5321, 2.4).
bool isSameMailbox(const String& first, const String& second) {
    const std::size_t at = first.findLast(L'@');
    return at == second.findLast(L'@') && first.substr(0, at) == second.substr(0, at) &&
           first.substr(at).toLower() == second.substr(at).toLower();
}

// One per line: a line of mail has at most 998 characters (RFC 5322, 2.1.1).
String join(const TArray<String>& addresses) {
    String list;
    for (const String& address : addresses) {
        list += (list.isEmpty() ? "" : ",\r\n ") + address;
    }
    return list;
}

String makeMessageId(const zet::CTime& now, const String& sender) {
    zet::uint64 number = 0;
    {
        const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
        number = zet::CMTRand::getGlobal()->rand64();
    }
    return "<" + String::fromInt(now.getMicroseconds()) + "." + String::fromLatin1(std::to_string(number)) +
           sender.substr(sender.findLast(L'@')) + ">";
}

}  // namespace

void CMailDraft::setFrom(const String& name, const String& address) {
    checkAddress(address);
    m_from = makeAddress(name, address);
    m_sender = address;
}

void CMailDraft::setSubject(const String& subject) {
    if (subject.view().find_first_of(std::wstring_view(L"\r\n\0", 3)) != std::wstring_view::npos) {
        throw CInvalidArgError("CMailDraft", "the subject must not contain line ends or NUL characters");
    }
    m_subject = CMimeMessage::toHeaderText(subject);
}

void CMailDraft::addBcc(const String& address) {
    checkAddress(address);
    const auto isSame = [&address](const String& known) { return isSameMailbox(known, address); };
    if (std::none_of(m_recipients.begin(), m_recipients.end(), isSame)) {
        m_recipients.push_back(address);
    }
}

void CMailDraft::addRecipient(TArray<String>& field, const String& address) {
    addBcc(address);
    field.push_back(address);
}

P<CMimeMessage> CMailDraft::makeMessage() const {
    P<CMimeMessage> message = makeBody();
    addHeaders(*message);
    return message;
}

P<CMimeMessage> CMailDraft::makeBody() const {
    P<CMimeMessage> text;
    if (m_text || m_attachments.empty()) {
        text = new CMimeMessage("");
        text->setTextBody(m_text.value_or(String()));
    }
    if (m_attachments.empty()) {
        return text;
    }
    const P<CMultiPartMimeMessage> message = new CMultiPartMimeMessage;
    message->addPart(text);
    for (const P<CMimeMessage>& attachment : m_attachments) {
        message->addPart(attachment);
    }
    return message;
}

void CMailDraft::addHeaders(CMimeMessage& message) const {
    const zet::CTime now = zet::CTime::now();
    TMap<String, String>& headers = message.getHeaders();
    headers["From"] = m_from;
    headers["Subject"] = m_subject;
    headers["Date"] = CSMTPClient::getDateHeaderString(zet::CTimeFields(now));
    headers["Message-ID"] = makeMessageId(now, m_sender);
    if (!m_to.empty()) {
        headers["To"] = join(m_to);
    }
    if (!m_cc.empty()) {
        headers["Cc"] = join(m_cc);
    }
}

}  // namespace vexil::app
