#include "apps/vexil/console/ConsoleLogSink.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "vexil/net/URLRedaction.h"
#include "zet/XMLElement.h"

namespace vexil::app {

namespace {

constexpr std::size_t maxElementText = 1000;

Verbosity toVerbosity(zet::LogLevel level) {
    switch (level) {
    case zet::LogLevel::Error:
        return Verbosity::Error;
    case zet::LogLevel::Warning:
        return Verbosity::Warning;
    default:
        return Verbosity::Info;
    }
}

}  // namespace

void CConsoleLogSink::log(const zet::CLogMessage& message) {
    const Verbosity level = toVerbosity(message.level);
    String line = message.text;
    if (!message.detail.isEmpty()) {
        line += " " + message.detail;
    }
    if (message.error) {
        // Some texts contain it already.
        const String reason = String::fromUTF8Lossy(message.error->what());
        line += line.find(reason) == String::npos ? " [" + reason + "]" : String();
    }
    m_console.message(level, "vexil: " + printable(withoutProxyLogin(redactURLs(line))));
    if (message.element) {
        m_console.message(level, "  " + printable(message.element->getText().substr(0, maxElementText)));
    }
}

}  // namespace vexil::app
