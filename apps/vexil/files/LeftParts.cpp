#include "apps/vexil/files/LeftParts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/platform/Platform.h"
#include "zet/LockedFile.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

void CLeftParts::lookInto(const fs::path& folder) {
    const auto [found, isNew] = m_names.try_emplace(folder);
    if (!isNew) {
        return;
    }
    // A file that cannot be read may still be writable.
    std::error_code ignored;
    for (const fs::path& name : listFolder(folder.empty() ? fs::path(".") : folder, ignored)) {
        if (arePartsOfOneFile(name, name)) {
            found->second.push_back(name);
        }
    }
}

void CLeftParts::clear(const fs::path& target, const String& content) {
    const fs::path folder = target.parent_path();
    const fs::path kept = makePartName(target, makeDigitsFor(content));
    std::vector<fs::path>& names = m_names[folder];
    const auto end = std::remove_if(names.begin(), names.end(), [&](const fs::path& name) {
        const bool isOther = arePartsOfOneFile(name, kept) && (content.isEmpty() || name != kept);
        if (isOther) {
            remove(folder / name);
        }
        return isOther;
    });
    names.erase(end, names.end());
}

void CLeftParts::keep(const fs::path& target, const String& content) {
    std::erase(m_names[target.parent_path()], makePartName(target, makeDigitsFor(content)));
}

void CLeftParts::clearAll() {
    for (const auto& [folder, names] : m_names) {
        for (const fs::path& name : names) {
            remove(folder / name);
        }
    }
    m_names.clear();
}

void CLeftParts::clearOf(CConsole& console, const fs::path& target, const String& content) {
    CLeftParts parts(console);
    parts.lookInto(target.parent_path());
    parts.clear(target, content);
}

void CLeftParts::remove(const fs::path& part) const {
    zet::CLockedFile file;
    int failure = file.openLeft(part);
    if (failure == ENOENT) {
        return;
    }
    if (!failure) {
        failure = file.removeAndClose(part);
    }
    if (failure) {
        m_console.message(Verbosity::Info, "vexil: '" + describe(part) +
                                               "' is a part that another program may be writing; it stays");
    } else {
        m_console.message(Verbosity::Warning,
                          "deleted " + describe(part) + ": a part that a killed program has left");
    }
}

}  // namespace vexil::app
