#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <istream>

namespace vexil::app {

/// The names of the two parts of a login in its sources.
struct CCredentialNames {
    const char* nameVariable;  ///< in the environment
    const char* secretVariable;
    const char* nameKey;  ///< in a file
    const char* secretKey;
    const char* tokenKey = nullptr;  ///< of the token of temporary keys; null if a file cannot have one
};

/// Name and secret of an account on a server. They come from the environment or from a file, never from the
/// arguments, which every user of the machine can read. No message shows them.
class CCredentials {
public:
    CCredentials(const String& name, const String& secret, const String& token = "");

    /// Whether at least one of the variables is set and not empty.
    static bool areInEnvironment(const CCredentialNames& names);
    /// \throws CInvalidArgError if one of the variables is missing
    static CCredentials fromEnvironment(const CCredentialNames& names);
    /// Lines "KEY=VALUE" in any order; empty lines and lines that begin with "#" are ignored.
    /// \throws CInvalidArgError that names the file and the line
    static CCredentials fromFile(const std::filesystem::path& file, const CCredentialNames& names);
    /// The same from the output of a command of the shell.
    /// \throws CInvalidArgError if the command fails, or its output is no such file
    static CCredentials fromCommand(const std::string& command, const CCredentialNames& names);
    /// The same from a stream; `streamName` is for the errors.
    static CCredentials fromStream(std::istream& stream, const String& streamName,
                                   const CCredentialNames& names);

    /// Access key, or user.
    const String& getName() const noexcept { return m_name; }
    /// Secret key, or password.
    const String& getSecret() const noexcept { return m_secret; }
    /// Token of temporary keys in a file; "" for none.
    const String& getToken() const noexcept { return m_token; }

private:
    String* findPart(const String& key, const CCredentialNames& names);

    String m_name;
    String m_secret;
    String m_token;
};

}  // namespace vexil::app
