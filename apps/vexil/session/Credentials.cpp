#include "apps/vexil/session/Credentials.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace vexil::app {

namespace {

constexpr std::size_t maxOutput = 64 * 1024;

[[noreturn]] void refuse(const String& message) {
    throw CInvalidArgError("CCredentials", message);
}

// The bytes are not in the message: they are a secret, perhaps a damaged one.
String decode(const std::string& bytes, const String& where) {
    try {
        return String::fromUTF8(bytes);
    } catch (const CError&) {
        refuse(where + " is not UTF-8 text");
    }
}

std::string getOutputOf(const std::string& command) {
    errno = 0;
    std::FILE* const output = startShellCommand(command);
    if (!output) {
        refuse("cannot start the command of --credentials-command: " + describeSystemError(errno));
    }
    std::string text(maxOutput + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), output));
    const bool isTooLong = text.size() > maxOutput;
    const int exitCode = finishShellCommand(output);
    if (isTooLong) {
        refuse("the command of --credentials-command prints more than 64 KiB");
    }
    if (exitCode != 0) {
        refuse(
            "the command of --credentials-command failed" +
            (exitCode < 0 ? String(" after a signal") : " with the exit code " + String::fromInt(exitCode)));
    }
    return text;
}

String fromVariable(const char* name, const CCredentialNames& names) {
    const auto value = getEnvironmentVariable(name);
    if (!value || value->empty()) {
        refuse(String("the credentials are missing: set ") + names.nameVariable + " and " +
               names.secretVariable + ", or give a file with --credentials (" + name + " is not set)");
    }
    return decode(*value, String("the value of ") + name);
}

}  // namespace

CCredentials::CCredentials(const String& name, const String& secret, const String& token)
    : m_name(name), m_secret(secret), m_token(token) {}

bool CCredentials::areInEnvironment(const CCredentialNames& names) {
    const auto isSet = [](const char* name) { return !getEnvironmentVariable(name).value_or("").empty(); };
    return isSet(names.nameVariable) || isSet(names.secretVariable);
}

CCredentials CCredentials::fromEnvironment(const CCredentialNames& names) {
    return {fromVariable(names.nameVariable, names), fromVariable(names.secretVariable, names)};
}

CCredentials CCredentials::fromFile(const std::filesystem::path& file, const CCredentialNames& names) {
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        refuse("cannot open the credentials file '" + describe(file) + "': " + describeSystemError(errno));
    }
    return fromStream(stream, "'" + describe(file) + "'", names);
}

CCredentials CCredentials::fromCommand(const std::string& command, const CCredentialNames& names) {
    std::istringstream stream(getOutputOf(command));
    return fromStream(stream, "that --credentials-command prints", names);
}

CCredentials CCredentials::fromStream(std::istream& stream, const String& streamName,
                                      const CCredentialNames& names) {
    CCredentials found{String(), String()};
    std::string bytes;
    errno = 0;
    for (int number = 1; std::getline(stream, bytes); ++number) {
        const String where = "line " + String::fromInt(number) + " of the credentials file " + streamName;
        const String line = decode(bytes, where).trimmed();
        if (line.isEmpty() || line.startsWith("#")) {
            continue;
        }
        const std::size_t equals = line.find(L'=');
        String* const part = equals == String::npos ? nullptr : found.findPart(line.substr(0, equals), names);
        if (!part) {
            refuse(where + " begins neither with '" + names.nameKey + "=' nor with '" + names.secretKey +
                   (names.tokenKey ? String("=' nor with '") + names.tokenKey : String()) + "='");
        }
        *part = line.substr(equals + 1).trimmed();
    }
    if (stream.bad()) {
        refuse("cannot read the credentials file " + streamName + ": " + describeSystemError(errno));
    }
    if (found.m_name.isEmpty() || found.m_secret.isEmpty()) {
        refuse("the credentials file " + streamName + " has no " +
               (found.m_name.isEmpty() ? names.nameKey : names.secretKey));
    }
    return found;
}

String* CCredentials::findPart(const String& key, const CCredentialNames& names) {
    const String name = key.trimmed();
    if (name == names.nameKey) {
        return &m_name;
    }
    if (name == names.secretKey) {
        return &m_secret;
    }
    return names.tokenKey && name == names.tokenKey ? &m_token : nullptr;
}

}  // namespace vexil::app
