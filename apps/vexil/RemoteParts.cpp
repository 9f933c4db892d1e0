#include "apps/vexil/RemoteParts.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Text.h"
#include "zet/Log.h"

namespace vexil::app {

CRemoteParts::~CRemoteParts() {
    if (m_paths.empty()) {
        return;
    }
    try {
        removeAll();
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::app::CRemoteParts", &error);
    }
}

void CRemoteParts::removeAll() {
    try {
        m_context.getFTP().removeFiles(TArray<String>(m_paths.begin(), m_paths.end()));
    } catch (const CError& error) {
        for (const String& path : m_paths) {
            m_context.getConsole().message(Verbosity::Warning,
                                           "vexil: the beginning of an upload may be left on the "
                                           "server: '" +
                                               printable(path) + "' (" + printable(error.getMessage()) + ")");
        }
    }
}

}  // namespace vexil::app
