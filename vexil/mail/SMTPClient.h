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
/// By default the server's certificate is not checked: the connection is encrypted, but to whom is not known. See
/// setVerifyCertificate().
///
/// Thread safety: one thread at a time; the static members may be used anywhere. Neither copied nor moved.
///
/// Errors: a CInvalidArgError for a host, login, sender or recipient that holds CR, LF or NUL, which would begin a
/// further command; for a recipient that is ""; and for a sender or recipient with a space, "<" or ">" outside of quotes
/// ("a@x> SIZE=1"), which would add parameters to the command, unless it stands between "<" and ">" as a whole. Everything else is CNetRequest::perform()'s: a CCURLError with the server's reply code
/// (RFC 5321, 4.2). One refused recipient refuses the whole mail, with code 55; the refusal's text is
/// `getResponseText(error.getResponseCode())` of the request, since the last reply is that to QUIT. When the
/// connection breaks after the last byte of a mail, the server may have taken it all the same: see mayHaveBeenSent().
///
/// A login is skipped silently where the server offers none.
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

    /// Whether the server's certificate and its name are checked (CURLOPT_SSL_VERIFYPEER,
    /// CURLOPT_SSL_VERIFYHOST). Default false. The next mail then takes a new connection.
    void setVerifyCertificate(bool verify);
    /// The certificates to check against, in PEM form (CNetRequest::setRootCertBundlePath). Default libcurl's own.
    /// The next mail then takes a new connection.
    void setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path);
    /// A hook for further options; a reference is kept. The request is initialised anew and the hook called at
    /// once, and never again. Null, the default, for none. The next mail then takes a new connection.
    /// \throws CInvalidArgError with the place "CSMTPClient::setRequestSetup" when it has replaced URL, method,
    ///         header list or receive data sink; the client then has no hook, as after any error of the hook
    void setRequestSetup(INetRequestSetup* setup);

    /// CNetRequest::setCancelToken() of the client's own request: once it is cancelled, every mail and test of this client
    /// ends, or does not begin. Null, the default, for none.
    void setCancelToken(CCancelToken* token) { m_request.setCancelToken(token); }

    /// Sends a message. To an empty list of recipients nothing is sent, which is logged as a warning and is a
    /// success.
    /// \param from     the sender's address, "" for none (bounces)
    /// \param message  header and body with line ends of CR LF, as CMimeMessage::store() writes them
    void sendMail(const String& from, const TArray<String>& recipients,
                  const TBuffer<unsigned char>& message);
    /// Sends a message.
    /// \throws CInvalidArgError for an empty list of recipients, too
    void sendMail(const String& from, const TArray<String>& recipients, const CMimeMessage& message);
    /// Connects, with TLS and login as for a mail, and hangs up.
    void testConnection();
    /// Whether the last sendMail() has failed although the server may have taken the mail: all of the message was handed
    /// to libcurl, and the server's reply to it did not come, or is not clear (2xx, but not 250). To send such a mail again
    /// may send it twice. False after a success, a refusal, and a failure in the middle of the message.
    bool mayHaveBeenSent() const noexcept { return m_mayHaveBeenSent; }
    /// For the replies of the last operation.
    const CNetRequest& getRequest() const noexcept { return m_request; }

    /// Prepares a request of the caller's for a message, to be performed as one likes. It is reset before.
    /// \param message  not null; read to its end. A reference is kept until the request is reset
    static void makeSendMailRequest(CNetRequest& request, const CSMTPParams& params, const String& from,
                                    const TArray<String>& recipients, zet::IInStream* message);

    /// The value of a "Date" header (RFC 5322, 3.3): "Tue, 3 Mar 2020 07:05:09 +0100"; "+0000" where no time zone is
    /// known.
    /// \throws CError for fields that are no date
    static String getDateHeaderString(const zet::CTimeFields& fields);

protected:
    /// Resets a request and sets server, login and security.
    static void doInitialRequestInit(CNetRequest& request, const CSMTPParams& params);
    /// Sets sender, recipients and message, of which the request keeps references.
    static void initRequestForSendMail(CNetRequest& request, const String& from,
                                       const TArray<String>& recipients, zet::IInStream* message);
    /// Takes away what belongs to one mail or test.
    static void resetOptions(CNetRequest& request);
    /// Performs the request and takes away what belonged to it, whether it has failed or not.
    void doPerform();
    /// resetOptions() after a failure, which a failure of its own must not hide.
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
