#pragma once

#include "apps/vexil/s3/PartOptions.h"

namespace vexil::app {

/// The options of the commands that fetch objects: what is read in parts.
class CDownloadOptions {
public:
    /// Adds --part-size and --jobs.
    void define(CCommandSyntax& syntax, const char* jobsHelp);

    const CPartOptions& getParts() const { return m_parts; }

private:
    CPartOptions m_parts;
};

}  // namespace vexil::app
