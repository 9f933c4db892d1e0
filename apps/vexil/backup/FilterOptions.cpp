#include "apps/vexil/backup/FilterOptions.h"

#include "apps/vexil/base/Duration.h"
#include "apps/vexil/base/SizeText.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/OptionChecks.h"

#include <chrono>
#include <optional>
#include <string_view>

namespace vexil::app {

namespace {

constexpr std::string_view exclude = "--exclude";
constexpr std::string_view include = "--include";
constexpr std::string_view excludeFrom = "--exclude-from";
constexpr std::string_view includeFrom = "--include-from";

int64 getNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

[[noreturn]] void fail(const char* option, const std::string& value, const char* problem) {
    throw CInvalidArgError("CFilterOptions",
                           String(option) + ": '" + printableBytes(value) + "' is not " + problem);
}

}  // namespace

void CFilterOptions::define(CCommandSyntax& syntax) {
    syntax
        .ordered(exclude.data(), "PATTERN", m_rules,
                 "Leave out what matches, with the patterns of a .gitignore file: a path relative to FOLDER, "
                 "or names with *, ?, [a-z] and **; may be repeated")
        .ordered(
            include.data(), "PATTERN", m_rules,
            "Take what matches though an earlier --exclude leaves it out; before any --exclude: take only "
            "what matches")
        .ordered(excludeFrom.data(), "FILE", m_rules,
                 "The same as --exclude for each line of a file, with # and !")
        .ordered(includeFrom.data(), "FILE", m_rules,
                 "The same as --include for each line of a file, with # and !")
        .option("--max-size", "SIZE", m_maxSize,
                "Leave out files of more bytes; k, M and G mean 1024, 1024 k and 1024 M")
        .option(
            "--newer", "TIME", m_newer,
            "Leave out files that were not changed after this time: 2026-01-31, 2026-01-31T08:30, or 12h or "
            "3d for so long ago")
        .flag("--one-file-system", m_oneFileSystem,
              "Do not enter folders on which another file system is mounted");
    for (const char* const name : {"--max-size", "--newer"}) {
        syntax.getApp().get_option(name)->check(notEmpty());
    }
}

CEntryFilter CFilterOptions::make() const {
    CEntryFilter filter;
    for (const auto& [option, value] : m_rules) {
        const bool takes = option == include || option == includeFrom;
        if (option == exclude || option == include) {
            filter.addRule(value, takes);
        } else {
            filter.addRulesOf(toPath(value), takes);
        }
    }
    if (!m_maxSize.empty()) {
        const std::optional<int64> size = parseSize(m_maxSize);
        if (!size) {
            fail("--max-size", m_maxSize, "a size such as 500, 10k, 4M or 1G");
        }
        filter.setMaxSize(*size);
    }
    if (!m_newer.empty()) {
        const std::optional<CFileTime> time = parseMoment(m_newer, getNow());
        if (!time) {
            fail("--newer", m_newer, "a time such as 2026-01-31, 2026-01-31T08:30, 12h or 3d");
        }
        filter.setChangedAfter(*time);
    }
    filter.setOneFileSystem(m_oneFileSystem);
    return filter;
}

}  // namespace vexil::app
