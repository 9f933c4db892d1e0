#include "vexil/mail/SMTPParams.h"

#include "vexil/net/ServerAddress.h"

namespace vexil {

namespace {

constexpr char placeFromURL[] = "CSMTPParams::fromURL";
constexpr int portSMTP = 25;
constexpr int portSMTPS = 465;

constexpr struct {
    CSMTPParams::ConnectType type;
    const char* name;
} connectTypes[] = {
    {CSMTPParams::ConnectUnencrypted, "unencrypted"},
    {CSMTPParams::ConnectSSL, "ssl"},
    {CSMTPParams::ConnectStartTLS, "starttls"},
};

[[noreturn]] void throwInvalidType(const char* place, const String& type) {
    throw CInvalidArgError(place, "invalid connect type: " + type);
}

}  // namespace

CSMTPParams::CSMTPParams(const String& host, int port, ConnectType connectType, const String& loginName,
                         const String& loginPassword)
    : m_host(host), m_port(port), m_connectType(connectType), m_loginName(loginName),
      m_loginPassword(loginPassword) {}

CSMTPParams::~CSMTPParams() = default;

CSMTPParams CSMTPParams::fromURL(const String& url, const String& loginName, const String& loginPassword) {
    const bool isTLS = parseServerURL(placeFromURL, url, "smtp", "smtps").scheme == "smtps";
    return fromURL(url, loginName, loginPassword, isTLS ? ConnectSSL : ConnectStartTLS);
}

CSMTPParams CSMTPParams::fromURL(const String& url, const String& loginName, const String& loginPassword,
                                 ConnectType connectType) {
    const CServerAddress address = parseServerURL(placeFromURL, url, "smtp", "smtps");
    const bool isTLS = address.scheme == "smtps";
    if (isTLS != (connectType == ConnectSSL)) {
        throw CInvalidArgError(placeFromURL, "smtps:// means ConnectSSL, and smtp:// does not");
    }
    const int defaultPort = isTLS ? portSMTPS : portSMTP;
    return CSMTPParams(address.host, address.port > 0 ? address.port : defaultPort, connectType, loginName,
                       loginPassword);
}

CSMTPParams CSMTPParams::fromHost(const String& host, int port, ConnectType connectType,
                                  const String& loginName, const String& loginPassword) {
    static constexpr char place[] = "CSMTPParams::fromHost";
    return CSMTPParams(checkHost(place, host), checkPort(place, port), connectType, loginName, loginPassword);
}

String CSMTPParams::connectTypeToString(ConnectType type) {
    for (const auto& known : connectTypes) {
        if (known.type == type) {
            return known.name;
        }
    }
    throwInvalidType("CSMTPParams::connectTypeToString", String::fromInt(type));
}

CSMTPParams::ConnectType CSMTPParams::connectTypeToInt(const String& text) {
    for (const auto& known : connectTypes) {
        if (text == known.name) {
            return known.type;
        }
    }
    throwInvalidType("CSMTPParams::connectTypeToInt", text);
}

}  // namespace vexil
