#include "apps/vexil/s3/DownloadOptions.h"

namespace vexil::app {

void CDownloadOptions::define(CCommandSyntax& syntax, const char* jobsHelp) {
    m_parts.define(
        syntax, 1, 1024,
        "Read a larger object in parts of this many MiB (default: an object above 64 MiB in parts of "
        "8 MiB)",
        jobsHelp);
}

}  // namespace vexil::app
