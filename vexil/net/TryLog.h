#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/TryRecord.h"

#include <chrono>

namespace vexil {

class CNetRequest;

/// The record of all tries of an operation: when each began, how long it took, what it moved, and why it
/// failed. CS3Client, CTransferQueue and CS3TransferManager keep one on demand; a program that tries again
/// itself may keep its own.
///
/// The final error has it as the property "tries", a line for each try; fromError() reads it. Logins and
/// secret query arguments of URLs are replaced in messages (redactURLs()), as is what follows the word
/// "Authorization".
///
/// Thread safety: a plain value.
///
/// \code
/// client.setRecordsTries(true);
/// try {
///     client.putObject(request, bucket, key, stream, size, "");
///     zet::logInfo(client.getTries().toText());
/// } catch (const CError& error) {
///     zet::logError(error, CTryLog::fromError(error).toText());
/// }
/// \endcode
class VEXIL_API CTryLog {
public:
    /// How many tries are kept: the last ones.
    static constexpr int maxTries = 1000;

    /// Without tries.
    CTryLog();
    CTryLog(const CTryLog&);
    CTryLog(CTryLog&&) noexcept;
    CTryLog& operator=(const CTryLog&);
    CTryLog& operator=(CTryLog&&) noexcept;
    ~CTryLog();

    /// The tries in their order.
    [[nodiscard]] const TArray<CTryRecord>& getTries() const noexcept { return m_tries; }
    /// A line for each try; "" without tries.
    [[nodiscard]] String toText() const;
    /// The record that attachTo() has attached; without tries if it has attached nothing.
    [[nodiscard]] static CTryLog fromError(const CError& error);

    // ---- for code that tries again -----------------------------------------------------------------------

    /// Call it before each try.
    void begin();
    /// Adds the try since begin().
    /// \param request  has performed the try
    /// \param error    null for a success
    void end(CNetRequest& request, const CError* error);
    /// Sets the pause after the last try. Has no effect without tries.
    void setPause(std::chrono::milliseconds pause);
    /// How long the try since begin() has taken so far.
    [[nodiscard]] std::chrono::microseconds getDuration() const;
    /// Sets the property "tries" of an error, which keeps everything else. Has no effect without tries.
    /// \param error  not an object that was declared const
    void attachTo(CError& error) const;

private:
    TArray<CTryRecord> m_tries;
    int m_count = 0;
    zet::CTime m_start;
    std::chrono::steady_clock::time_point m_steadyStart;
};

}  // namespace vexil
