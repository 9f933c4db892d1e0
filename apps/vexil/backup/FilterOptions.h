#pragma once

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/EntryFilter.h"

#include <string>

namespace vexil::app {

/// The options that choose which entries of a folder a command takes.
class CFilterOptions {
public:
    /// Adds the options to the syntax of a command.
    void define(CCommandSyntax& syntax);
    /// \throws CInvalidArgError that names a wrong pattern, size or time, or a file that cannot be read
    CEntryFilter make() const;

private:
    CCommandSyntax::OrderedValues m_rules;
    std::string m_maxSize;
    std::string m_newer;
    bool m_oneFileSystem = false;
};

}  // namespace vexil::app
