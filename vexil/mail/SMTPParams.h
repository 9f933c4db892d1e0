#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Address of a mail server, and login. A value.
class VEXIL_API CSMTPParams : public virtual CBase {
public:
    /// Security of the connection.
    enum ConnectType : int {
        ConnectUnencrypted = 0,  ///< everyone on the way can read password and mail; usually port 25
        ConnectSSL = 1,          ///< TLS from the first byte ("smtps://"), usually port 465
        ConnectStartTLS =
            2,  ///< upgraded (RFC 3207), usually port 587; fails if the server does not offer it
    };

    /// No host, port 0, not encrypted, no login.
    CSMTPParams() = default;
    /// \param host           name or address; fromURL() and fromHost() check it
    /// \param port           always a part of the URL, even 0
    /// \param loginName      "" for no login
    /// \param loginPassword  used only with a login name
    CSMTPParams(const String& host, int port, ConnectType connectType, const String& loginName,
                const String& loginPassword);
    /// @{

    /// The server of a URL: "smtp://" or "smtps://", a host, an optional port, an optional "/". "smtps://"
    /// means ConnectSSL, by default with port 465. "smtp://" means ConnectStartTLS, or ConnectUnencrypted if
    /// that is given, by default with port 25; a server for users usually has port 587.
    /// \throws CInvalidArgError for any other URL, also for one with a login or a path, and for a type that
    ///         does not fit the scheme
    [[nodiscard]] static CSMTPParams fromURL(const String& url, const String& loginName,
                                             const String& loginPassword);
    [[nodiscard]] static CSMTPParams fromURL(const String& url, const String& loginName,
                                             const String& loginPassword, ConnectType connectType);
    /// @}
    /// A host and a port, checked.
    /// \param host  name or address; IPv6 with or without brackets
    /// \throws CInvalidArgError for any other host, and for a port outside 1 to 65535
    [[nodiscard]] static CSMTPParams fromHost(const String& host, int port, ConnectType connectType,
                                              const String& loginName, const String& loginPassword);
    CSMTPParams(const CSMTPParams&) = default;
    CSMTPParams(CSMTPParams&&) = default;
    CSMTPParams& operator=(const CSMTPParams&) = default;
    CSMTPParams& operator=(CSMTPParams&&) = default;
    ~CSMTPParams() override;

    /// @{

    /// The values given to the constructor.
    [[nodiscard]] String getHost() const { return m_host; }
    [[nodiscard]] int getPort() const { return m_port; }
    [[nodiscard]] ConnectType getConnectType() const { return m_connectType; }
    [[nodiscard]] String getLoginName() const { return m_loginName; }
    [[nodiscard]] String getLoginPassword() const { return m_loginPassword; }
    /// @}

    /// @{

    /// "unencrypted", "ssl" or "starttls", for settings; the texts are compared exactly.
    /// \throws CInvalidArgError "invalid connect type: ..." for anything else
    [[nodiscard]] static String connectTypeToString(ConnectType type);
    [[nodiscard]] static ConnectType connectTypeToInt(const String& text);
    /// @}

private:
    String m_host;
    int m_port = 0;
    ConnectType m_connectType = ConnectUnencrypted;
    String m_loginName;
    String m_loginPassword;
};

}  // namespace vexil
