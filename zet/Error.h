#pragma once

#include "zet/Base.h"
#include "zet/ErrorKind.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Props.h"
#include "zet/String.h"
#include "zet/Types.h"

#include <exception>
#include <string>

namespace zet {

/// The error type: every failure is a CError or derives from it. It is thrown by value and caught by
/// reference as its own type, `CError`, `std::exception`, `CBase` or `IBase`.
///
/// To keep an error after its handler, or to pass it to another thread, use clone() and later throwClone().
/// Both keep the dynamic type; every derived class overrides both. Within a handler use `throw;`.
///
/// Thread safety: a plain value. Several threads may use different errors, and may read the same one while
/// nobody changes it.
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
    /// \param message  what happened, at most a sentence, without secrets
    /// \param domain   what defines the numbers of `code`: "curl", "http", ...; "" for none
    /// \param code     number of the error within its domain; -1 for none
    /// \param props    facts by name, for programs
    /// \param inner    the error that caused this one, or null; a reference is kept
    explicit CError(const String& message, const String& domain = String(), int64 code = -1,
                    const CProps& props = CProps(), const P<CError>& inner = nullptr);
    CError(const CError&) = default;
    CError& operator=(const CError&) = default;
    ~CError() override;

    /// @{

    /// The arguments of the constructor. The inner error is null if there is none.
    [[nodiscard]] const String& getMessage() const noexcept { return m_message; }
    [[nodiscard]] const String& getDomain() const noexcept { return m_domain; }
    [[nodiscard]] int64 getCode() const noexcept { return m_code; }
    [[nodiscard]] const CProps& getProps() const noexcept { return m_props; }
    [[nodiscard]] const P<CError>& getInnerError() const noexcept { return m_inner; }
    /// @}

    /// What the error means for a caller. Default: for the domain "system", by the `errno` value
    /// (getKindOfSystemError()), otherwise ErrorKind::Other. Copies and clones have the same kind.
    [[nodiscard]] ErrorKind getKind() const noexcept { return m_kind; }
    /// Sets the kind. For code that makes errors.
    void setKind(ErrorKind kind) noexcept { m_kind = kind; }

    /// The message as UTF-8; a derived class may add to it. Valid as long as the error.
    [[nodiscard]] const char* what() const noexcept override { return m_what.c_str(); }

    /// A copy on the heap, of the same dynamic type.
    [[nodiscard]] virtual P<CError> clone() const;
    /// Throws a copy by value, as the dynamic type.
    [[noreturn]] virtual void throwClone() const;

protected:
    /// Replaces the text of what().
    void setWhat(const String& text) { m_what = text.toUTF8(); }

private:
    String m_message;
    String m_domain;
    int64 m_code;
    CProps m_props;
    P<CError> m_inner;
    ErrorKind m_kind = ErrorKind::Other;
    std::string m_what;
};

/// Converts the exception that is being handled to an error to keep. Call it within a catch block.
///
/// A CError becomes a clone, or a plain CError with the same message, domain, code, properties and inner
/// error if clone() throws or returns null. A `std::bad_alloc` becomes the CError "Out of memory.". Another
/// `std::exception` becomes a CError with its text, in which bytes that are not UTF-8 are replaced.
/// Everything else becomes the CError "Unknown exception.".
/// \return never null, even if there is no memory
[[nodiscard]] ZET_API P<CError> currentExceptionToError() noexcept;

}  // namespace zet
