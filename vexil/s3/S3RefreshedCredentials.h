#pragma once

#include "vexil/s3/S3CredentialsProvider.h"
#include "zet/Mutex.h"
#include "zet/Time.h"
#include "zet/TimeSpan.h"

#include <chrono>

namespace vexil {

/// Keys with the time when they expire. A value.
struct CS3TemporaryCredentials {
    CS3Credentials credentials;  ///< the keys
    zet::CTime expiration = {};  ///< not set: they do not expire
};

/// Base of providers of temporary keys: keeps them, and loads new ones some time before they expire. If that
/// fails, the old ones are used as long as they are valid, with a warning in the log, and it is tried again
/// after a minute.
///
/// Any thread; load() runs on the thread that needs the keys, and other threads wait for it.
///
/// \code
/// class CMyCredentials : public CS3RefreshedCredentials {
///     CS3TemporaryCredentials load() override { return askMyServer(); }
/// };
/// \endcode
class VEXIL_API CS3RefreshedCredentials : public virtual CBase, public IS3CredentialsProvider {
public:
    /// \param margin  how long before their expiration new keys are loaded
    explicit CS3RefreshedCredentials(const zet::CTimeSpan& margin = std::chrono::minutes(5))
        : m_margin(margin) {}
    ~CS3RefreshedCredentials() override;

    /// \throws the exception of load() if there are no valid keys
    [[nodiscard]] CS3Credentials getCredentials() override;

protected:
    /// Gets new keys. Called by one thread at a time. It must not call getCredentials().
    virtual CS3TemporaryCredentials load() = 0;
    /// The time that is compared with the expiration. Default: the system clock.
    virtual zet::CTime getCurrentTime() const;

private:
    bool needsLoading(const zet::CTime& now) const ZET_REQUIRES(m_mutex);
    bool isValid(const zet::CTime& now) const ZET_REQUIRES(m_mutex);

    const zet::CTimeSpan m_margin;
    zet::CMutex m_mutex;
    CS3TemporaryCredentials m_current ZET_GUARDED_BY(m_mutex);
    bool m_hasKeys ZET_GUARDED_BY(m_mutex) = false;
    zet::CTime m_nextTry ZET_GUARDED_BY(m_mutex);
};

}  // namespace vexil
