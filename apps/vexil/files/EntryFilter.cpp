#include "apps/vexil/files/EntryFilter.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/FileFacts.h"

#include <algorithm>
#include <fstream>
#include <string_view>
#include <system_error>

namespace vexil::app {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Spaces at the end of a line do not count, unless a "\" is before them.
std::string withoutSpacesAtEnd(const std::string& line) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\') {
            end = std::min(++i + 1, line.size());
        } else if (line[i] != ' ') {
            end = i + 1;
        }
    }
    return line.substr(0, end);
}

/// "./a//b/" as "/a/b/": a path that a shell has completed is a pattern, too.
std::string withoutDots(const std::string& pattern) {
    std::string rest = pattern;
    while (rest.starts_with("./")) {
        rest.erase(0, 1);
    }
    for (const std::string_view useless : {"//", "/./"}) {
        for (std::size_t at = 0; (at = rest.find(useless)) != rest.npos;) {
            rest.erase(at, useless.size() - 1);
        }
    }
    return rest;
}

/// The path that an argument names, with its "/" at the end if it has one.
std::string makeLiteral(const std::string& argument) {
    return toBytes(toPath(argument).lexically_normal());
}

}  // namespace

void CEntryFilter::addRule(const std::string& pattern, bool takes) {
    m_takesAtFirst = m_takesAtFirst.value_or(takes);
    m_rules.push_back({CPathPattern(withoutDots(pattern)), makeLiteral(pattern), takes});
}

void CEntryFilter::addRulesOf(const std::filesystem::path& file, bool takes) {
    m_takesAtFirst = m_takesAtFirst.value_or(takes);
    std::ifstream in(file, std::ios::binary);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (number == 1 && line.starts_with(byteOrderMark)) {
            line.erase(0, byteOrderMark.size());
        }
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        try {
            addLine(line, takes);
        } catch (const CInvalidArgError& error) {
            throw CInvalidArgError("CEntryFilter", "line " + String::fromInt(number) + " of '" +
                                                       describe(file) + "': " + error.getMessage());
        }
    }
    if (!in.eof()) {
        throw CInvalidArgError("CEntryFilter",
                               "the file of patterns '" + describe(file) + "' cannot be read");
    }
}

void CEntryFilter::addLine(std::string line, bool takes) {
    line = withoutSpacesAtEnd(line);
    if (line.empty() || line.front() == '#') {
        return;
    }
    const bool isOpposite = line.front() == '!';
    m_rules.push_back(
        {CPathPattern(std::string_view(line).substr(isOpposite ? 1 : 0)), "", takes != isOpposite});
}

CEntryFilter::Verdict CEntryFilter::decide(const std::filesystem::path& relativePath, bool isFolder,
                                           Verdict ofFolder) const {
    if (m_rules.empty()) {
        return ofFolder;
    }
    const std::string path = toBytes(relativePath);
    const auto found = std::find_if(m_rules.rbegin(), m_rules.rend(), [&](const CRule& rule) {
        return rule.pattern.matches(path, isFolder) || rule.literal == path ||
               (isFolder && rule.literal == path + "/");
    });
    return found == m_rules.rend() ? ofFolder : found->takes ? Verdict::Taken : Verdict::LeftOut;
}

bool CEntryFilter::takes(Verdict verdict) const noexcept {
    return verdict == Verdict::Undecided ? !m_takesAtFirst.value_or(false) : verdict == Verdict::Taken;
}

bool CEntryFilter::takesFile(const std::filesystem::path& file) const {
    if (!m_maxSize && !m_changedAfter) {
        return true;
    }
    std::error_code failure;
    const CFileFacts facts = readFileFacts(file, failure);
    return failure ||
           ((!m_maxSize || facts.size <= *m_maxSize) && (!m_changedAfter || facts.time > *m_changedAfter));
}

}  // namespace vexil::app
