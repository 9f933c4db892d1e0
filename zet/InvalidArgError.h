#pragma once

#include "zet/Error.h"

namespace zet {

/// A mistake of the caller: an invalid argument. Thrown before anything is changed or sent. It has no domain,
/// the code -1 and the kind ErrorKind::InvalidArgument.
class ZET_API CInvalidArgError : public CError {
public:
    /// \param place    class and member that refuse the argument, joined by "::"
    /// \param message  what is wrong, in a few lower-case words. getMessage() returns only this; what()
    ///                 returns the place, ": " and the message
    CInvalidArgError(const String& place, const String& message, const CProps& props = CProps());
    CInvalidArgError(const CInvalidArgError&) = default;
    CInvalidArgError& operator=(const CInvalidArgError&) = default;
    ~CInvalidArgError() override;

    /// Class and member that refuse the argument: "CS3Client::setBaseURL".
    [[nodiscard]] const String& getPlace() const noexcept { return m_place; }

    [[nodiscard]] P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    String m_place;
};

}  // namespace zet
