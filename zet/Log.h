#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/String.h"
#include "zet/XMLElement.h"

#include <exception>

namespace zet {

/// How much a message matters.
enum class LogLevel {
    Info,     ///< for those who follow what happens
    Warning,  ///< something failed and was dealt with or ignored
    Error,    ///< something failed that should not
};

/// One message of the log.
struct CLogMessage {
    LogLevel level = LogLevel::Info;        ///< how much it matters
    String text;                            ///< what happened
    String detail;                          ///< more about it, often ""
    const std::exception* error = nullptr;  ///< the error it is about, or null; valid during the call only
    const CXMLElement* element = nullptr;   ///< data that belongs to it, or null; likewise
};

/// Where the messages of the library go.
///
/// \code
/// class CSink : public virtual CBase, public ILogSink {
///     void log(const CLogMessage& message) override { backupLog.append(message.text.toUTF8()); }
/// };
/// setLogSink(new CSink);  // keeps a reference
/// \endcode
class ZET_API ILogSink : public virtual IBase {
public:
    /// Called on the thread that logs, by several threads at once, with no lock held. What it throws is
    /// ignored.
    virtual void log(const CLogMessage& message) = 0;

protected:
    ~ILogSink() override;
};

/// Replaces the process-wide sink, of which a reference is kept. Null, the default, drops every message. Any
/// thread; a message that is on its way may still reach the old sink.
ZET_API void setLogSink(ILogSink* sink);
/// The process-wide sink, or null. Any thread.
ZET_API P<ILogSink> getLogSink();

/// \name Logging
/// @{

/// Gives a message of the level in its name to the sink, on the calling thread. Any thread; never throws.
/// Texts are to hold no secrets; bodies of server answers go into an element.
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

/// What a destructor does with an exception inside it, as it cannot throw: a warning in the log.
/// \param className  qualified name of the class, "vexil::CNetRequest"
/// \param error      the exception, null for one that is no std::exception
ZET_API void onExceptionInDestructorIgnored(const char* className, const std::exception* error) noexcept;

}  // namespace zet
