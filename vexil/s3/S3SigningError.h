#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3SigningOptions.h"
#include "zet/TimeSpan.h"

namespace vexil {

/// The refusal of a signature that another setting, or another clock, would make valid. Message, domain, code
/// and properties are those of every CS3Error.
///
/// A plain value; clone() and throwClone() carry it to another thread with its type.
///
/// \code
/// try {
///     client.getObject(request, "bucket", "key", 0, -1);
/// } catch (const CS3SigningError& error) {
///     std::cerr << error.getMessage() << ' ' << error.getAdvice() << '\n';
/// }
/// \endcode
class VEXIL_API CS3SigningError : public CS3Error {
public:
    /// What the service wants to be different.
    enum class Cause {
        SignatureVersion,  ///< the version of the signature: CS3Client::setSignatureVersion()
        Region,            ///< the region: CS3Client::setRegion()
        Clock,             ///< the clock of this computer
    };

    /// Another version is wanted.
    CS3SigningError(const CS3Error& error, S3SignatureVersion version);
    /// Another region is wanted.
    CS3SigningError(const CS3Error& error, const String& region);
    /// The service's clock minus the time of the request; not set if the service did not tell its time.
    CS3SigningError(const CS3Error& error, const zet::CTimeSpan& clockDifference);
    CS3SigningError(const CS3SigningError&) = default;
    CS3SigningError& operator=(const CS3SigningError&) = default;
    ~CS3SigningError() override;

    /// What has to be different.
    Cause getCause() const noexcept { return m_cause; }
    /// The version that the service wants, for Cause::SignatureVersion.
    S3SignatureVersion getSignatureVersion() const noexcept { return m_version; }
    /// The region that the service wants, for Cause::Region; otherwise "".
    const String& getRegion() const noexcept { return m_region; }
    /// The service's clock minus the time of the request, for Cause::Clock; may be unknown (not set).
    const zet::CTimeSpan& getClockDifference() const noexcept { return m_clockDifference; }
    /// A sentence for people: what the service wants, with its values.
    String getAdvice() const;

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    Cause m_cause;
    S3SignatureVersion m_version = S3SignatureVersion::V4;
    String m_region;
    zet::CTimeSpan m_clockDifference;
};

}  // namespace vexil
