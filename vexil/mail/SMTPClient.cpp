#include "vexil/mail/SMTPClient.h"

#include "vexil/net/LineEnd.h"
#include "vexil/net/RequestSetupCall.h"
#include "zet/ASCII.h"
#include "zet/BufferStream.h"
#include "zet/Log.h"

#include <exception>
#include <new>
#include <string>
#include <string_view>

namespace vexil {

namespace {

// Replies of mail servers (RFC 5321, 4.2.1).
constexpr int dataCode = 354;
constexpr int firstRefusalCode = 400;

void check(const String& text, const char* place, const char* what) {
    if (hasLineEnd(text)) {
        throw CInvalidArgError(place, String(what) + " must not contain CR, LF or NUL");
    }
}

/// True if libcurl makes exactly one address of a text, and nothing more. libcurl adds "<" and ">" if they
/// are missing.
bool isOneAddress(std::wstring_view address) {
    address.remove_prefix(address.starts_with(L'<') ? 1 : 0);
    address.remove_suffix(address.ends_with(L'>') ? 1 : 0);
    bool isQuoted = false;
    for (std::size_t i = 0; i < address.size(); ++i) {
        const wchar_t c = address[i];
        if (zet::isControl(c) || (!isQuoted && (c == L' ' || c == L'<' || c == L'>'))) {
            return false;
        }
        isQuoted = isQuoted != (c == L'"');
        i += isQuoted && c == L'\\' ? 1 : 0;
    }
    return !isQuoted;
}

void checkAddress(const String& address, const char* place, const char* what) {
    check(address, place, what);
    if (!isOneAddress(address.view()) || address == "<") {
        throw CInvalidArgError(place, String(what) + " is not an address: '" + address + "'");
    }
}

String padded(int number, std::size_t digits) {
    std::string text = std::to_string(number);
    text.insert(0, text.size() < digits ? digits - text.size() : 0, '0');
    return String::fromLatin1(text);
}

}  // namespace

CSMTPClient::CSMTPClient(const CSMTPParams& params) : m_params(params) {
    doInitialRequestInit(m_request, m_params);
}

CSMTPClient::~CSMTPClient() = default;

void CSMTPClient::setVerifyCertificate(bool verify) {
    m_request.setVerifyCertificate(verify);
    m_verifyCertificate = verify;
    replaceConnection();
}

void CSMTPClient::setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path) {
    m_request.setRootCertBundlePath(path);
    m_rootCertBundle = path;
    replaceConnection();
}

void CSMTPClient::replaceConnection() {
    if (!m_mayBeConnected) {
        return;
    }
    // The request distinguishes connections by its own settings only, but a hook may also use its libcurl
    // handle. Of two connections libcurl keeps the newer one.
    m_request.setOptionInt(CURLOPT_MAXCONNECTS, 1);
    m_request.setOptionInt(CURLOPT_FRESH_CONNECT, 1);
    m_isConnectionOutdated = true;
}

void CSMTPClient::setRequestSetup(INetRequestSetup* setup) {
    m_requestSetup = setup;
    try {
        initRequest();
    } catch (...) {
        // Otherwise the next mail would use the settings of the refused hook.
        m_requestSetup = nullptr;
        initRequest();
        throw;
    }
}

void CSMTPClient::initRequest() {
    doInitialRequestInit(m_request, m_params);
    if (m_verifyCertificate) {
        m_request.setVerifyCertificate(true);
    }
    if (!m_rootCertBundle.getText().isEmpty()) {
        m_request.setRootCertBundlePath(m_rootCertBundle);
    }
    replaceConnection();
    callRequestSetup(m_requestSetup, m_request, "CSMTPClient::setRequestSetup");
}

void CSMTPClient::doInitialRequestInit(CNetRequest& request, const CSMTPParams& params) {
    static constexpr char place[] = "CSMTPClient::doInitialRequestInit";
    check(params.getHost(), place, "host");
    check(params.getLoginName(), place, "login name");
    check(params.getLoginPassword(), place, "login password");
    request.reset();
    const char* const scheme = params.getConnectType() == CSMTPParams::ConnectSSL ? "smtps" : "smtp";
    request.setURL(String(scheme) + "://" + params.getHost() + ":" + String::fromInt(params.getPort()));
    if (!params.getLoginName().isEmpty()) {
        request.setUserName(params.getLoginName());
        request.setUserPassword(params.getLoginPassword());
    }
    if (params.getConnectType() == CSMTPParams::ConnectStartTLS) {
        request.setOptionInt(CURLOPT_USE_SSL, CURLUSESSL_ALL);
    }
    request.setVerifyCertificate(false);
}

void CSMTPClient::resetOptions(CNetRequest& request) {
    request.setOptionInt(CURLOPT_CONNECT_ONLY, 0);
    request.setOptionInt(CURLOPT_FORBID_REUSE, 0);
    request.setUpload(false);
    request.setOptionString(CURLOPT_MAIL_FROM, "");
    request.setMailRecipients(nullptr);
    request.setSendDataStream(new zet::CBufferStream);
}

void CSMTPClient::initRequestForSendMail(CNetRequest& request, const String& from,
                                         const TArray<String>& recipients, zet::IInStream* message) {
    static constexpr char place[] = "CSMTPClient::initRequestForSendMail";
    // The request may have the only reference to it, from the previous mail.
    const P<zet::IInStream> held = message;
    checkAddress(from, place, "sender");
    const P<CNetStringList> list = new CNetStringList;
    for (const String& recipient : recipients) {
        if (recipient.isEmpty()) {
            throw CInvalidArgError(place, "recipient is empty");
        }
        checkAddress(recipient, place, "recipient");
        list->add(recipient);
    }
    if (!message) {
        throw CInvalidArgError(place, "message must not be null");
    }
    if (recipients.empty()) {
        zet::logWarning("A mail without recipients is sent to nobody.");
    }
    resetOptions(request);
    request.setOptionInt(CURLOPT_CONNECT_ONLY, 0);
    request.setOptionString(CURLOPT_MAIL_FROM, from);
    request.setUpload(true);
    request.setMailRecipients(list);
    request.setSendDataStream(message);
}

void CSMTPClient::makeSendMailRequest(CNetRequest& request, const CSMTPParams& params, const String& from,
                                      const TArray<String>& recipients, zet::IInStream* message) {
    const P<zet::IInStream> held = message;
    doInitialRequestInit(request, params);
    initRequestForSendMail(request, from, recipients, message);
}

void CSMTPClient::sendMail(const String& from, const TArray<String>& recipients,
                           const TBuffer<unsigned char>& message) {
    const P<TBuffer<unsigned char>> copy = new TBuffer<unsigned char>(message);
    const P<zet::CBufferStream> stream = new zet::CBufferStream(copy);
    performMail(from, recipients, stream);
}

void CSMTPClient::sendMail(const String& from, const TArray<String>& recipients,
                           const CMimeMessage& message) {
    if (recipients.empty()) {
        throw CInvalidArgError("CSMTPClient::sendMail", "recipients must not be empty");
    }
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    message.store(*stream);
    stream->seek(0);
    performMail(from, recipients, stream);
}

void CSMTPClient::performMail(const String& from, const TArray<String>& recipients, zet::IInStream* message) {
    m_mayHaveBeenSent = false;
    initRequestForSendMail(m_request, from, recipients, message);
    m_mayBeConnected = true;
    try {
        doPerform();
    } catch (...) {
        m_mayHaveBeenSent = message->getPosition() == message->getSize() && isReplyMissing();
        throw;
    }
    if (m_isConnectionOutdated) {
        m_request.setOptionInt(CURLOPT_FRESH_CONNECT, 0);
        m_isConnectionOutdated = false;
    }
}

/// True if the server has asked for the message and has not refused it afterwards.
bool CSMTPClient::isReplyMissing() const {
    try {
        bool isAskedFor = false;
        for (const CNetReply& reply : m_request.getReplies()) {
            if (isAskedFor) {
                return reply.getCode() < firstRefusalCode;
            }
            isAskedFor = reply.getCode() == dataCode;
        }
        return isAskedFor;
    } catch (const std::exception&) {
        // Unknown, because memory ran out: the mail may have been sent.
        return true;
    }
}

void CSMTPClient::testConnection() {
    m_mayHaveBeenSent = false;
    resetOptions(m_request);
    m_request.setOptionInt(CURLOPT_CONNECT_ONLY, 1);
    // Otherwise each test leaves a connection open that no other operation can use.
    m_request.setOptionInt(CURLOPT_FORBID_REUSE, 1);
    m_request.setUpload(false);
    doPerform();
}

void CSMTPClient::doPerform() {
    try {
        m_request.perform();
    } catch (...) {
        takeOptionsBack();
        throw;
    }
    try {
        resetOptions(m_request);
    } catch (const std::bad_alloc&) {
        // Ignored: a caller who sees a failure sends the mail again, although it was sent. The next operation
        // begins with the same reset.
    }
}

void CSMTPClient::takeOptionsBack() noexcept {
    try {
        try {
            resetOptions(m_request);
        } catch (const std::exception& error) {
            // The first error is the one that matters.
            zet::logWarning(error, "The options of a failed mail could not be taken back.");
        }
    } catch (...) {
        // No memory even for the text of the warning.
    }
}

String CSMTPClient::getDateHeaderString(const zet::CTimeFields& fields) {
    return zet::CTimeFields::getEnglishWeekDayAbbrev(fields.getWeekDay()) + ", " +
           String::fromInt(fields.getDay()) + " " +
           zet::CTimeFields::getEnglishMonthAbbrev(fields.getMonth()) + " " + padded(fields.getYear(), 4) +
           " " + padded(fields.getHour(), 2) + ":" + padded(fields.getMinute(), 2) + ":" +
           padded(fields.getSecond(), 2) + " " + fields.getInternetTimeZoneString("+0000");
}

}  // namespace vexil
