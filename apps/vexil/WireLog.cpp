#include "apps/vexil/WireLog.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/Text.h"
#include "zet/Log.h"

namespace vexil::app {

namespace {

constexpr unsigned int maxTextLength = 2000;

}  // namespace

void CWireLog::onDone(CNetRequest* request, CError*) {
    try {
        show(*request);
    } catch (const std::exception& error) {
        // No transfer fails because it cannot be shown, and a worker that runs many does not end.
        zet::logWarning(error, "What went over the wire could not be shown.");
    }
}

void CWireLog::show(CNetRequest& request) {
    const P<zet::CXMLElement> output = request.getRedactedVerboseOutput(maxTextLength);
    if (!output) {
        return;
    }
    for (const P<zet::CXMLElement>& message : output->getChildren()) {
        String line = message->getName() + ":";
        for (const auto& [name, value] : message->getAttributes().getEntries()) {
            line += " " + name + "=" + value;
        }
        const String text = message->getText().trimmed();
        m_console.message(Verbosity::Debug, printable(text.isEmpty() ? line : line + "  " + text));
    }
}

}  // namespace vexil::app
