#include "vexil/s3/S3ProfileCredentials.h"

#include "vexil/s3/S3Environment.h"

#include <fstream>
#include <string>
#include <system_error>

namespace vexil {

namespace {

String findProfile(const String& profile) {
    const String inEnvironment = profile.isEmpty() ? getEnvironment("AWS_PROFILE") : profile;
    return inEnvironment.isEmpty() ? String("default") : inEnvironment;
}

String findFile(const String& file) {
    const String inEnvironment = file.isEmpty() ? getEnvironment("AWS_SHARED_CREDENTIALS_FILE") : file;
    return inEnvironment.isEmpty() ? getHomeFolder() + "/.aws/credentials" : inEnvironment;
}

std::filesystem::path toPath(const String& file) {
    const std::string utf8 = file.toUTF8();
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/// The settings of one profile.
class CProfileReader {
public:
    CProfileReader(const String& profile, const String& file) : m_profile(profile), m_file(file) {}

    void readLine(const String& line, int number) {
        static constexpr wchar_t byteOrderMark = L'\xFEFF';
        const bool hasMark = number == 1 && !line.isEmpty() && line[0] == byteOrderMark;
        const String text = hasMark ? line.substr(1) : line;
        const String content = text.trimmed();
        if (content.isEmpty() || content.startsWith("#") || content.startsWith(";")) {
            return;
        }
        // Indented lines belong to the setting before them.
        if (zet::isWhiteSpace(text[0])) {
            return;
        }
        if (content.startsWith("[") && content.endsWith("]")) {
            m_isInProfile = content.substr(1, content.length() - 2).trimmed() == m_profile;
            m_hasProfile = m_hasProfile || m_isInProfile;
            return;
        }
        const std::size_t equals = content.find(L'=');
        if (equals == String::npos) {
            throw CError("Line " + String::fromInt(number) + " of the credentials file '" + m_file +
                         "' is neither a section nor a setting.");
        }
        if (m_isInProfile) {
            set(content.substr(0, equals).trimmed().toLower(), content.substr(equals + 1).trimmed());
        }
    }

    /// \throws CError if the profile or its keys are missing
    const CS3Credentials& getCredentials() const {
        if (!m_hasProfile) {
            throw CError("The credentials file '" + m_file + "' has no profile '" + m_profile + "'.");
        }
        if (m_credentials.accessKeyId.isEmpty() || m_credentials.secretKey.isEmpty()) {
            throw CError(
                "The profile '" + m_profile + "' of the credentials file '" + m_file + "' has no " +
                (m_credentials.accessKeyId.isEmpty() ? "aws_access_key_id" : "aws_secret_access_key") + ".");
        }
        return m_credentials;
    }

private:
    void set(const String& name, const String& value) {
        if (name == "aws_access_key_id") {
            m_credentials.accessKeyId = value;
        } else if (name == "aws_secret_access_key") {
            m_credentials.secretKey = value;
        } else if (name == "aws_session_token") {
            m_credentials.sessionToken = value;
        }
    }

    const String& m_profile;
    const String& m_file;
    CS3Credentials m_credentials;
    bool m_isInProfile = false;
    bool m_hasProfile = false;
};

}  // namespace

CS3ProfileCredentials::CS3ProfileCredentials(const String& profile, const String& file)
    : m_profile(findProfile(profile)), m_file(findFile(file)) {}

CS3ProfileCredentials::~CS3ProfileCredentials() = default;

CS3Credentials CS3ProfileCredentials::getCredentials() {
    std::error_code failure;
    const auto fileTime = std::filesystem::last_write_time(toPath(m_file), failure);
    const zet::CMutexLock lock(m_mutex);
    if (failure || fileTime != m_fileTime) {
        m_credentials = load();
        m_fileTime = fileTime;
    }
    return m_credentials;
}

CS3Credentials CS3ProfileCredentials::load() const {
    std::ifstream stream(toPath(m_file), std::ios::binary);
    if (!stream) {
        throw CError("The credentials file '" + m_file + "' cannot be opened.");
    }
    CProfileReader reader(m_profile, m_file);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        reader.readLine(String::fromUTF8Lossy(line), number);
    }
    if (stream.bad()) {
        throw CError("The credentials file '" + m_file + "' cannot be read.");
    }
    return reader.getCredentials();
}

}  // namespace vexil
