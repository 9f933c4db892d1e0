#include "apps/vexil/Credentials.h"

#include "apps/vexil/Platform.h"
#include "apps/vexil/Text.h"

#include <cerrno>
#include <fstream>
#include <string>

namespace vexil::app {

namespace {

constexpr const char* accessKeyVariable = "VEXIL_S3_ACCESS_KEY";
constexpr const char* secretKeyVariable = "VEXIL_S3_SECRET_KEY";

[[noreturn]] void refuse(const String& message) {
    throw CInvalidArgError("CCredentials", message);
}

// The bytes stay out of the message: they are a secret, if perhaps a damaged one.
String decode(const std::string& bytes, const String& where) {
    try {
        return String::fromUTF8(bytes);
    } catch (const CError&) {
        refuse(where + " is not UTF-8 text");
    }
}

String fromVariable(const char* name) {
    const auto value = getEnvironmentVariable(name);
    if (!value || value->empty()) {
        refuse(String("the credentials are missing: set ") + accessKeyVariable + " and " + secretKeyVariable +
               ", or name a file with --credentials (" + name + " is not set)");
    }
    return decode(*value, String("the value of ") + name);
}

}  // namespace

CCredentials::CCredentials(const String& accessKey, const String& secretKey)
    : m_accessKey(accessKey), m_secretKey(secretKey) {}

CCredentials CCredentials::fromEnvironment() {
    return {fromVariable(accessKeyVariable), fromVariable(secretKeyVariable)};
}

CCredentials CCredentials::fromFile(const std::filesystem::path& file) {
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        refuse("cannot open the credentials file '" + describe(file) + "': " + describeSystemError(errno));
    }
    return fromStream(stream, "'" + describe(file) + "'");
}

CCredentials CCredentials::fromStream(std::istream& stream, const String& name) {
    String accessKey;
    String secretKey;
    std::string bytes;
    for (int number = 1; std::getline(stream, bytes); ++number) {
        const String where = "line " + String::fromInt(number) + " of the credentials file " + name;
        const String line = decode(bytes, where).trimmed();
        if (line.isEmpty() || line.startsWith("#")) {
            continue;
        }
        const std::size_t equals = line.find(L'=');
        const String key = line.substr(0, equals).trimmed();
        if (equals == String::npos || (!(key == "access_key") && !(key == "secret_key"))) {
            refuse(where + " begins neither with 'access_key=' nor with 'secret_key='");
        }
        (key == "access_key" ? accessKey : secretKey) = line.substr(equals + 1).trimmed();
    }
    if (accessKey.isEmpty() || secretKey.isEmpty()) {
        refuse("the credentials file " + name + " has no " +
               (accessKey.isEmpty() ? "access_key" : "secret_key"));
    }
    return {accessKey, secretKey};
}

}  // namespace vexil::app
