#pragma once

#include "zet/Error.h"

namespace zet {

/// A caller's mistake: an argument that cannot be worked with. Thrown before anything is changed or sent. It
/// has no domain, and the code -1.
class ZET_API CInvalidArgError : public CError {
public:
    /// \param place    class and member that refuse, joined by "::"
    /// \param message  what is wrong, in a few lower-case words; this alone is getMessage(); what() is
    ///                 the place, ": " and the message
    CInvalidArgError(const String& place, const String& message, const CProps& props = CProps());
    CInvalidArgError(const CInvalidArgError&) = default;
    CInvalidArgError& operator=(const CInvalidArgError&) = default;
    ~CInvalidArgError() override;

    /// Class and member that refuse: "CS3Client::setBaseURL".
    const String& getPlace() const noexcept { return m_place; }

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    String m_place;
};

}  // namespace zet
