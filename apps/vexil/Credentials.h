#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <istream>

namespace vexil::app {

/// The two keys of an S3 account. They come from the environment or from a file, never from the arguments,
/// which every user of the machine can read; no message shows them.
class CCredentials {
public:
    CCredentials(const String& accessKey, const String& secretKey);

    /// VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY.
    /// \throws CInvalidArgError when one of them is missing
    static CCredentials fromEnvironment();
    /// Lines "access_key=..." and "secret_key=..." in any order; empty lines and those that begin with "#" do
    /// not count.
    /// \throws CInvalidArgError naming the file and the line
    static CCredentials fromFile(const std::filesystem::path& file);
    /// The same from a stream; `name` is for the errors.
    static CCredentials fromStream(std::istream& stream, const String& name);

    const String& getAccessKey() const noexcept { return m_accessKey; }
    const String& getSecretKey() const noexcept { return m_secretKey; }

private:
    String m_accessKey;
    String m_secretKey;
};

}  // namespace vexil::app
