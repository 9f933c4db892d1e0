#include "apps/vexil/session/WireLog.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/session/VerboseLogFile.h"
#include "zet/Log.h"

namespace vexil::app {

namespace {

constexpr unsigned int maxTextLength = 2000;

}  // namespace

void CWireLog::onDone(CNetRequest* request, CError*) {
    try {
        if (m_console.shows(Verbosity::Debug)) {
            show(*request);
        }
        write(*request);
    } catch (const std::exception& error) {
        // A transfer must not fail because it cannot be shown, and must not end a worker with many transfers.
        zet::logWarning(error, "The messages on the wire could not be shown.");
    }
}

void CWireLog::onGivenUp(CNetRequest& request) {
    write(request);
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
    if (const int64 leftOut = request.getVerboseLeftOutBytes(); leftOut > 0) {
        m_console.message(Verbosity::Debug, "data: " + formatNumberOf(leftOut, "further byte"));
    }
}

void CWireLog::write(CNetRequest& request) {
    if (m_file) {
        // A form or a document in a body may contain a password.
        request.setVerboseSettings(VerboseLogNone, VerboseLogNone);
        const P<zet::CXMLElement> output = request.getRedactedVerboseOutput(maxTextLength);
        request.setVerboseSettings(VerboseLogAutomatic, VerboseLogNone);
        m_file->add(*output);
    }
}

}  // namespace vexil::app
