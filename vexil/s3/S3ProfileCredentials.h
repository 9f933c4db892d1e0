#pragma once

#include "vexil/s3/S3CredentialsProvider.h"
#include "zet/Mutex.h"

#include <filesystem>

namespace vexil {

/// The keys of a profile in the credentials file that Amazon's tools share: sections "[profile]" with
/// aws_access_key_id, aws_secret_access_key and, for temporary keys, aws_session_token. Other settings are
/// ignored; a profile that gets its keys in another way has none here.
///
/// The file is read again after it has changed. Any thread.
///
/// \code
/// const P<CS3ProfileCredentials> provider = new CS3ProfileCredentials("backup");
/// client.setCredentialsProvider(provider);
/// \endcode
class VEXIL_API CS3ProfileCredentials : public virtual CBase, public IS3CredentialsProvider {
public:
    /// Reads nothing yet.
    /// \param profile  "": the name in AWS_PROFILE, otherwise "default"
    /// \param file     "": the file in AWS_SHARED_CREDENTIALS_FILE, otherwise ".aws/credentials" in the
    ///                 user's home folder
    explicit CS3ProfileCredentials(const String& profile = "", const String& file = "");
    ~CS3ProfileCredentials() override;

    /// \throws CError that names the file, and the line or the profile, if the file cannot be read or has no
    ///         keys. No message shows a value of the file
    [[nodiscard]] CS3Credentials getCredentials() override;

    /// The profile, after AWS_PROFILE and the default.
    const String& getProfile() const noexcept { return m_profile; }
    /// The file, after AWS_SHARED_CREDENTIALS_FILE and the default.
    const String& getFile() const noexcept { return m_file; }

private:
    CS3Credentials load() const;

    const String m_profile;
    const String m_file;
    zet::CMutex m_mutex;
    CS3Credentials m_credentials ZET_GUARDED_BY(m_mutex);
    std::filesystem::file_time_type
        m_fileTime ZET_GUARDED_BY(m_mutex) = std::filesystem::file_time_type::min();
};

}  // namespace vexil
