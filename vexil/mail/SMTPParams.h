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
    /// \param host           name or address
    /// \param port           always a part of the URL, even 0
    /// \param loginName      "" for no login
    /// \param loginPassword  used only with a login name
    CSMTPParams(const String& host, int port, ConnectType connectType, const String& loginName,
                const String& loginPassword);
    CSMTPParams(const CSMTPParams&) = default;
    CSMTPParams(CSMTPParams&&) = default;
    CSMTPParams& operator=(const CSMTPParams&) = default;
    CSMTPParams& operator=(CSMTPParams&&) = default;
    ~CSMTPParams() override;

    /// @{

    /// The values given to the constructor.
    String getHost() const { return m_host; }
    int getPort() const { return m_port; }
    ConnectType getConnectType() const { return m_connectType; }
    String getLoginName() const { return m_loginName; }
    String getLoginPassword() const { return m_loginPassword; }
    /// @}

    /// @{

    /// "unencrypted", "ssl" or "starttls", for settings; the texts are compared exactly.
    /// \throws CInvalidArgError "invalid connect type: ..." for anything else
    static String connectTypeToString(ConnectType type);
    static ConnectType connectTypeToInt(const String& text);
    /// @}

private:
    String m_host;
    int m_port = 0;
    ConnectType m_connectType = ConnectUnencrypted;
    String m_loginName;
    String m_loginPassword;
};

}  // namespace vexil
