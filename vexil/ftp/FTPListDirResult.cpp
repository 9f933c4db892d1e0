#include "vexil/ftp/FTPListDirResult.h"

#include <algorithm>

namespace vexil {

namespace {

std::string_view bytesOf(const TBuffer<unsigned char>& listing) {
    return {reinterpret_cast<const char*>(listing.getData()), static_cast<std::size_t>(listing.getUsed())};
}

/// Every server sends at least the type, so an entry begins with a fact.
bool beginsWithFact(std::string_view line) {
    const std::size_t space = line.find(' ');
    return space != line.npos && line.substr(0, std::min(space, line.find(';'))).find('=') != line.npos;
}

/// One text for each entry. A line without a fact is the rest of a name that contains a line end.
TArray<std::string> splitIntoEntries(std::string_view listing) {
    TArray<std::string> entries;
    while (!listing.empty()) {
        const std::size_t end = std::min(listing.find_first_of("\r\n"), listing.size());
        const std::string_view line = listing.substr(0, end);
        if (!line.empty() && !entries.empty() && !beginsWithFact(line)) {
            entries.back().append("\n").append(line);
        } else if (!line.empty()) {
            entries.emplace_back(line);
        }
        listing.remove_prefix(std::min(end + 1, listing.size()));
    }
    return entries;
}

}  // namespace

CFTPListDirResult::CFTPListDirResult(const TBuffer<unsigned char>& listing) {
    const String text = String::fromUTF8(bytesOf(listing));
    std::wstring_view rest = text.view();
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find_first_of(L"\r\n"), rest.size());
        if (end > 0) {
            m_entries.push_back(new CFTPDirEntry(String(rest.substr(0, end))));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

CFTPListDirResult CFTPListDirResult::parseLeniently(const TBuffer<unsigned char>& listing) {
    CFTPListDirResult result;
    for (const std::string& line : splitIntoEntries(bytesOf(listing))) {
        if (!beginsWithFact(line) || line.find('\n') != line.npos || !result.addEntry(line)) {
            result.m_unreadableLines.push_back(line);
        }
    }
    return result;
}

bool CFTPListDirResult::addEntry(std::string_view line) {
    try {
        m_entries.push_back(new CFTPDirEntry(String::fromUTF8(line)));
        return true;
    } catch (const CError&) {
        return false;
    }
}

CFTPListDirResult::~CFTPListDirResult() = default;

}  // namespace vexil
