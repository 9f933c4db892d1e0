#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/String.h"
#include "zet/XMLElement.h"

#include <exception>

namespace zet {

/// How important a message is.
enum class LogLevel {
    Info,     ///< about the normal course
    Warning,  ///< a failure that was handled or ignored
    Error,    ///< a failure that should not happen
};

/// One message of the log.
struct CLogMessage {
    LogLevel level = LogLevel::Info;  ///< how important it is
    String text;                      ///< what happened
    String detail;                    ///< more about it; often ""
    const std::exception* error =
        nullptr;                           ///< the error that it reports, or null; valid only during the call
    const CXMLElement* element = nullptr;  ///< further data, or null; valid only during the call
};

/// Receives the messages of the library.
///
/// \code
/// class CSink : public virtual CBase, public ILogSink {
///     void log(const CLogMessage& message) override { backupLog.append(message.text.toUTF8()); }
/// };
/// setLogSink(new CSink);  // keeps a reference
/// \endcode
class ZET_API ILogSink : public virtual IBase {
public:
    /// Called on the thread that logs, by several threads at once, while no lock is held. Exceptions are
    /// ignored.
    virtual void log(const CLogMessage& message) = 0;

protected:
    ~ILogSink() override;
};

/// Replaces the process-wide sink and keeps a reference to the new one. Null, the default, drops every
/// message. Any thread. A message that another thread is logging may still reach the old sink.
ZET_API void setLogSink(ILogSink* sink);
/// The process-wide sink, or null. Any thread.
[[nodiscard]] ZET_API P<ILogSink> getLogSink();

/// \name Logging
/// @{

/// Passes a message to the sink, on the calling thread. The name tells the level. Any thread; never throws.
/// Texts must not contain secrets. The body of a response belongs in an element.
ZET_API void logInfo(const String& text) noexcept;
ZET_API void logWarning(const String& text) noexcept;
ZET_API void logWarning(const std::exception& error, const String& text,
                        const String& detail = String()) noexcept;
ZET_API void logError(const String& text) noexcept;
ZET_API void logError(const std::exception& error, const String& text,
                      const String& detail = String()) noexcept;
ZET_API void logError(const CXMLElement& element, const String& text,
                      const String& detail = String()) noexcept;
/// @}

/// Logs a warning about an exception within a destructor, which must not throw.
/// \param className  qualified name of the class, "vexil::CNetRequest"
/// \param error      the exception; null if it is not a std::exception
ZET_API void onExceptionInDestructorIgnored(const char* className, const std::exception* error) noexcept;

}  // namespace zet
