#include "vexil/mail/SMTPParams.h"

namespace vexil {

namespace {

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
