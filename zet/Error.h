#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Props.h"
#include "zet/String.h"
#include "zet/Types.h"

#include <exception>
#include <string>

namespace zet {

/// The error type: every failure is one of these, thrown by value and caught by reference as its own type,
/// `CError`, `std::exception`, `CBase` or `IBase`.
///
/// To keep an error beyond its handler, or to carry it to another thread, clone() it and throwClone() it
/// later: both keep the dynamic type, and every class that derives from this one overrides both. Within a
/// handler, `throw;` does.
///
/// Thread safety: a plain value. Distinct errors may be used from several threads, and one that nobody
/// changes may be read from many.
///
/// \code
/// try {
///     request.perform();
/// } catch (const CError& error) {
///     logWarning(error, "The backup of " + name + " failed.");
///     kept = error.clone();  // for the thread that reports: kept->throwClone()
/// }
/// \endcode
class ZET_API CError : public std::exception, public virtual CBase {
public:
    /// \param message  what happened, a whole sentence or less, without secrets
    /// \param domain   whose numbers `code` is from ("curl", "http", ...); "" for none
    /// \param code     number of the error within its domain; -1 for none
    /// \param props    facts by name, for programs
    /// \param inner    the error behind this one, or null; a reference is kept
    explicit CError(const String& message, const String& domain = String(), int64 code = -1,
                    const CProps& props = CProps(), const P<CError>& inner = nullptr);
    CError(const CError&) = default;
    CError& operator=(const CError&) = default;
    ~CError() override;

    /// @{

    /// What the constructor was given. The inner error is null for none.
    const String& getMessage() const noexcept { return m_message; }
    const String& getDomain() const noexcept { return m_domain; }
    int64 getCode() const noexcept { return m_code; }
    const CProps& getProps() const noexcept { return m_props; }
    const P<CError>& getInnerError() const noexcept { return m_inner; }
    /// @}

    /// The message as UTF-8, to which a class that derives from this one may add; lives as long as the error.
    const char* what() const noexcept override { return m_what.c_str(); }

    /// A copy on the heap, of the same dynamic type.
    virtual P<CError> clone() const;
    /// Throws a copy by value, as the dynamic type.
    [[noreturn]] virtual void throwClone() const;

protected:
    /// Makes what() another text.
    void setWhat(const String& text) { m_what = text.toUTF8(); }

private:
    String m_message;
    String m_domain;
    int64 m_code;
    CProps m_props;
    P<CError> m_inner;
    std::string m_what;
};

/// The exception that is being handled, as an error to keep: a CError as a clone of itself (a plain CError with its
/// message, domain, code, properties and inner error if clone() throws or gives null), a
/// `std::bad_alloc` as the CError "Out of memory.", another `std::exception` as a CError with its text (bytes
/// that are not UTF-8 replaced), anything else as the CError "Unknown exception.".
/// To be called within a catch block. Never null, not even when memory has run out.
ZET_API P<CError> currentExceptionToError() noexcept;

}  // namespace zet
