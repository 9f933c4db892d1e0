#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <map>
#include <vector>

namespace vexil::app {

class CConsole;

/// The parts (PartName.h) that killed programs have left in local folders. Parts that a running program uses
/// or that another user has made stay, and so do names that end in "-old".
class CLeftParts {
public:
    /// The console must outlive it.
    explicit CLeftParts(CConsole& console) : m_console(console) {}

    /// Records the parts in a folder, at the first call for that folder. Must be called before parts are made
    /// there.
    void lookInto(const std::filesystem::path& folder);
    /// Deletes the parts of one file in a recorded folder, and reports it.
    /// \param content  a part for this content stays, see CPartFile; "" for none
    void clear(const std::filesystem::path& target, const String& content);
    /// Forgets the part of one file for a content: it stays.
    void keep(const std::filesystem::path& target, const String& content);
    /// Deletes all parts in the recorded folders, and reports it.
    void clearAll();

    /// Deletes the parts of a file that is fetched alone, like clear().
    static void clearOf(CConsole& console, const std::filesystem::path& target, const String& content = "");

private:
    void remove(const std::filesystem::path& part) const;

    CConsole& m_console;
    std::map<std::filesystem::path, std::vector<std::filesystem::path>> m_names;  // by folder
};

}  // namespace vexil::app
