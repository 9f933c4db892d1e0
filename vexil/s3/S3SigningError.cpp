#include "vexil/s3/S3SigningError.h"

namespace vexil {

CS3SigningError::CS3SigningError(const CS3Error& error, S3SignatureVersion version)
    : CS3Error(error), m_cause(Cause::SignatureVersion), m_version(version) {}

CS3SigningError::CS3SigningError(const CS3Error& error, const String& region)
    : CS3Error(error), m_cause(Cause::Region), m_region(region) {}

CS3SigningError::CS3SigningError(const CS3Error& error, const zet::CTimeSpan& clockDifference)
    : CS3Error(error), m_cause(Cause::Clock), m_clockDifference(clockDifference) {}

CS3SigningError::~CS3SigningError() = default;

String CS3SigningError::getAdvice() const {
    static constexpr int64 millisecondsPerSecond = 1000;
    switch (m_cause) {
    case Cause::SignatureVersion:
        return "The service wants signature version " + String::fromInt(static_cast<int>(m_version)) + ".";
    case Cause::Region:
        return "The service wants a signature for the region '" + m_region + "'.";
    case Cause::Clock:
        break;
    }
    const String difference =
        m_clockDifference.isSet()
            ? String::fromInt(m_clockDifference.getMilliseconds() / millisecondsPerSecond) + " s"
            : String("too much");
    return "The service's clock differs from the time of the request by " + difference +
           ". Set this computer's clock.";
}

P<CError> CS3SigningError::clone() const {
    return new CS3SigningError(*this);
}

void CS3SigningError::throwClone() const {
    throw CS3SigningError(*this);
}

}  // namespace vexil
