#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/mail/MimeMessage.h"
#include "vexil/mail/SMTPParams.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "zet/InStream.h"
#include "zet/TimeFields.h"

namespace vexil {

/// Sends mail through a server (RFC 5321), over a connection that is kept from one mail to the next.
///
/// By default the server's certificate is not checked: the connection is encrypted, but the server may be
/// anyone. See setVerifyCertificate().
///
/// Thread safety: one thread at a time; the static members may be called from any thread. Cannot be copied or
/// moved.
///
/// Errors: a CInvalidArgError for a host, login, sender or recipient with CR, LF or NUL, which would begin
/// another command; for a recipient that is ""; and for a sender or recipient with a space, "<" or ">"
/// outside of quotes ("a@x> SIZE=1"), which would add parameters to the command. The whole address may be
/// between "<" and ">". All other errors are those of CNetRequest::perform(): a CCURLError with the server's
/// reply code (RFC 5321, 4.2). If one recipient is refused, the whole mail fails, with code 55. The text of
/// the refusal is `getResponseText(error.getResponseCode())` of the request, because the last reply is that
/// to QUIT. If the connection fails after the last byte of a mail, the server may have accepted it: see
/// mayHaveBeenSent().
///
/// The login is skipped silently if the server does not offer one.
///
/// \code
/// CSMTPClient client(CSMTPParams("mail.example.com", 587, CSMTPParams::ConnectStartTLS, "user", "secret"));
/// client.setVerifyCertificate(true);
/// client.sendMail("backup@example.com", {"jo@example.com"}, message);
/// \endcode
class VEXIL_API CSMTPClient : public virtual CBase {
public:
    /// Copies the parameters and prepares the request; nothing is sent.
    explicit CSMTPClient(const CSMTPParams& params);
    CSMTPClient(const CSMTPClient&) = delete;
    CSMTPClient& operator=(const CSMTPClient&) = delete;
    ~CSMTPClient() override;

    /// Checks the server's certificate and its host name (CURLOPT_SSL_VERIFYPEER, CURLOPT_SSL_VERIFYHOST).
    /// Default false. The next mail uses a new connection.
    void setVerifyCertificate(bool verify);
    /// Sets the trusted certificates, in PEM form (CNetRequest::setRootCertBundlePath). Default: those of
    /// libcurl. The next mail uses a new connection.
    void setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path);
    /// Sets a hook for further options; a reference is kept. The request is initialised again and the hook is
    /// called once, immediately. Null, the default, for no hook. The next mail uses a new connection.
    /// \throws CInvalidArgError with the function name "CSMTPClient::setRequestSetup" if the hook has
    ///         replaced URL, method, header list or receive data sink; the client then has no hook, as after
    ///         any error of the hook
    void setRequestSetup(INetRequestSetup* setup);

    /// Calls CNetRequest::setCancelToken() of the client's own request: once the token is cancelled, every
    /// mail and test of this client ends or does not begin. Null, the default, for no token.
    void setCancelToken(CCancelToken* token) { m_request.setCancelToken(token); }

    /// Sends a message. If the list of recipients is empty, nothing is sent; this is a success and is logged
    /// as a warning.
    /// \param from     the sender's address, "" for no sender (bounces)
    /// \param message  header and body with line ends of CR LF, as CMimeMessage::store() writes them
    void sendMail(const String& from, const TArray<String>& recipients,
                  const TBuffer<unsigned char>& message);
    /// Sends a message.
    /// \throws CInvalidArgError also for an empty list of recipients
    void sendMail(const String& from, const TArray<String>& recipients, const CMimeMessage& message);
    /// Connects, with TLS and login as for a mail, and disconnects.
    void testConnection();
    /// True if the last sendMail() has failed although the server may have accepted the mail: the whole
    /// message was given to libcurl, and the server's reply to it is missing or unclear (2xx, but not 250).
    /// Sending such a mail again may deliver it twice. False after a success, a refusal, and a failure in the
    /// middle of the message.
    [[nodiscard]] bool mayHaveBeenSent() const noexcept { return m_mayHaveBeenSent; }
    /// The client's own request, with the replies of the last operation.
    const CNetRequest& getRequest() const noexcept { return m_request; }

    /// Resets and prepares the caller's request for a message. The caller performs it.
    /// \param message  not null; read to its end. A reference is kept until the request is reset
    static void makeSendMailRequest(CNetRequest& request, const CSMTPParams& params, const String& from,
                                    const TArray<String>& recipients, zet::IInStream* message);

    /// The value of a "Date" header (RFC 5322, 3.3): "Tue, 3 Mar 2020 07:05:09 +0100"; with "+0000" if the
    /// time zone is unknown.
    /// \throws CError for an invalid date
    [[nodiscard]] static String getDateHeaderString(const zet::CTimeFields& fields);

protected:
    /// Resets a request and sets server, login and security.
    static void doInitialRequestInit(CNetRequest& request, const CSMTPParams& params);
    /// Sets sender, recipients and message, of which the request keeps references.
    static void initRequestForSendMail(CNetRequest& request, const String& from,
                                       const TArray<String>& recipients, zet::IInStream* message);
    /// Removes the options of one mail or test.
    static void resetOptions(CNetRequest& request);
    /// Performs the request and removes its options, also after a failure.
    void doPerform();
    /// Calls resetOptions() after a failure. Only logs an error of its own, so that the first error is
    /// reported.
    void takeOptionsBack() noexcept;

private:
    void initRequest();
    void performMail(const String& from, const TArray<String>& recipients, zet::IInStream* message);
    bool isReplyMissing() const;
    void replaceConnection();

    const CSMTPParams m_params;
    bool m_verifyCertificate = false;
    TPathImpl<CWindowsPathTraits> m_rootCertBundle;
    P<INetRequestSetup> m_requestSetup;
    bool m_mayBeConnected = false;
    bool m_isConnectionOutdated = false;
    bool m_mayHaveBeenSent = false;
    CNetRequest m_request;
};

}  // namespace vexil
