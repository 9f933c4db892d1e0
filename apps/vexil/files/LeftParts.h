#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <map>
#include <vector>

namespace vexil::app {

class CConsole;

/// The parts (PartName.h) that programs which were killed have left in local folders. Those that a running program uses, or
/// that another user has made, stay, and so does what ends in "-old".
class CLeftParts {
public:
    /// The console must outlive it.
    explicit CLeftParts(CConsole& console) : m_console(console) {}

    /// Notes the parts in a folder, at its first call for the folder. For before parts are made there.
    void lookInto(const std::filesystem::path& folder);
    /// Deletes those of one file in a folder that was looked into, and tells it.
    /// \param content  what a part must be for, as in CPartFile, to stay; "" for none
    void clear(const std::filesystem::path& target, const String& content);
    /// Deletes all in the folders that were looked into, and tells it.
    void clearAll();

    /// Deletes the parts of one file that is fetched alone, as clear() does.
    static void clearOf(CConsole& console, const std::filesystem::path& target);

private:
    void remove(const std::filesystem::path& part) const;

    CConsole& m_console;
    std::map<std::filesystem::path, std::vector<std::filesystem::path>> m_names;  // by folder
};

}  // namespace vexil::app
