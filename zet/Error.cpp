#include "zet/Error.h"

#include <limits>

namespace zet {

CError::CError(const String& message, const String& domain, int64 code, const CProps& props,
               const P<CError>& inner)
    : m_message(message), m_domain(domain), m_code(code), m_props(props), m_inner(inner),
      m_what(message.toUTF8()) {
    if (domain == "system" && code > 0 && code <= std::numeric_limits<int>::max()) {
        m_kind = getKindOfSystemError(static_cast<int>(code));
    }
}

CError::~CError() = default;

P<CError> CError::clone() const {
    return new CError(*this);
}

void CError::throwClone() const {
    throw CError(*this);
}

namespace {

P<CError> makeOutOfMemoryError() {
    const P<CError> error = new CError("Out of memory.");
    error->setKind(ErrorKind::OutOfMemory);
    return error;
}

/// Allocated in advance: reported when there is no memory for a new error.
const P<CError>& outOfMemoryError() {
    // Never destroyed: objects with static lifetime may fail at the end of the process.
    static const P<CError>& error = *new P<CError>(makeOutOfMemoryError());
    return error;
}

[[maybe_unused]] const bool outOfMemoryErrorIsMade = (outOfMemoryError(), true);

/// A clone. If the error's own clone() fails: a plain CError with the same parts.
P<CError> cloneOrCopy(const CError& error) {
    try {
        if (P<CError> clone = error.clone()) {
            return clone;
        }
    } catch (const std::bad_alloc&) {
        return outOfMemoryError();
    } catch (...) {
        // Report the original error, not that of its clone().
    }
    return new CError(error);
}

P<CError> convertCurrentException() {
    try {
        throw;
    } catch (const CError& error) {
        return cloneOrCopy(error);
    } catch (const std::bad_alloc&) {
        return outOfMemoryError();
    } catch (const std::exception& error) {
        return new CError(String::fromUTF8Lossy(error.what()));
    } catch (...) {
        return new CError("Unknown exception.");
    }
}

}  // namespace

P<CError> currentExceptionToError() noexcept {
    try {
        return convertCurrentException();
    } catch (...) {
        return outOfMemoryError();
    }
}

}  // namespace zet
