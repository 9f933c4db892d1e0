#include "apps/vexil/index/IndexReader.h"

#include "apps/vexil/index/IndexError.h"
#include "apps/vexil/index/IndexFormat.h"

#include <charconv>
#include <nlohmann/json.hpp>
#include <string_view>

namespace vexil::app {

namespace format = index_format;
using Line = nlohmann::json;

namespace {

constexpr int octal = 8;
constexpr int hexadecimal = 16;
constexpr int maxMode = 07777;

template <class Number>
bool parse(std::string_view text, int base, Number& number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    return result.ec == std::errc() && result.ptr == end;
}

std::string decodeHex(const std::string& digits) {
    if (digits.size() % 2 != 0) {
        throw CError("the hexadecimal digits are not complete");
    }
    std::string bytes;
    for (std::size_t position = 0; position < digits.size(); position += 2) {
        unsigned char byte = 0;
        if (!parse(std::string_view(digits).substr(position, 2), hexadecimal, byte)) {
            throw CError("these are no hexadecimal digits");
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

/// \return "" if the line has no such field
std::string getText(const Line& line, const char* name) {
    if (const auto bytes = line.find(name + std::string(format::bytesSuffix)); bytes != line.end()) {
        return decodeHex(bytes->get<std::string>());
    }
    return line.value(name, std::string());
}

int64 getNumber(const Line& line, const char* name) {
    const Line& value = line.at(name);
    if (!value.is_number_integer() || value.get<int64>() < 0) {
        throw CError(String("the field '") + name + "' is no whole number from 0 on");
    }
    return value.get<int64>();
}

EntryKind getKind(const Line& line) {
    const auto name = line.at(format::kind).get<std::string>();
    if (name == format::file) {
        return EntryKind::File;
    }
    if (name == format::folder) {
        return EntryKind::Folder;
    }
    if (name == format::link) {
        return EntryKind::Link;
    }
    throw CError("the type of the entry is unknown");
}

std::optional<CFileTime> getTime(const Line& line) {
    if (!line.contains(format::time)) {
        return std::nullopt;
    }
    const auto time = CFileTime::fromText(line.at(format::time).get<std::string>());
    if (!time) {
        throw CError("the time is no number of seconds");
    }
    return time;
}

std::optional<int> getMode(const Line& line) {
    if (!line.contains(format::mode)) {
        return std::nullopt;
    }
    int mode = 0;
    if (!parse(line.at(format::mode).get<std::string>(), octal, mode) || mode < 0 || mode > maxMode) {
        throw CError("the mode is no octal number from 0 to 7777");
    }
    return mode;
}

std::optional<CEntryOwner> getOwner(const Line& line) {
    if (!line.contains(format::user)) {
        return std::nullopt;
    }
    return CEntryOwner{getNumber(line, format::user), getNumber(line, format::group)};
}

/// Nothing that comes from outside may lead out of the folder of a restore.
void checkPath(std::string_view path) {
    if (path.find('\0') != std::string_view::npos) {
        throw CError("the path has a zero byte");
    }
    while (true) {
        const std::size_t slash = path.find('/');
        const std::string_view name = path.substr(0, slash);
        if (name.empty() || name == "." || name == "..") {
            throw CError("the path is not one within the backup");
        }
        if (slash == std::string_view::npos) {
            return;
        }
        path.remove_prefix(slash + 1);
    }
}

CIndexEntry readEntry(const Line& line) {
    CIndexEntry entry;
    entry.path = getText(line, format::path);
    checkPath(entry.path);
    entry.kind = getKind(line);
    entry.size = entry.kind == EntryKind::File ? getNumber(line, format::size) : 0;
    entry.time = getTime(line);
    entry.mode = getMode(line);
    entry.owner = getOwner(line);
    entry.target = getText(line, format::target);
    entry.eTag = getText(line, format::eTag);
    entry.isUnsettled = line.value(format::isUnsettled, false);
    if (entry.kind == EntryKind::Link &&
        (entry.target.empty() || entry.target.find('\0') != std::string::npos)) {
        throw CError("the link has no usable target");
    }
    return entry;
}

}  // namespace

CIndexReader::CIndexReader(zet::IInStream& in) : m_in(in) {
    if (!readLine()) {
        fail("it is empty");
    }
    const Line line = Line::parse(m_line, nullptr, false);
    if (!line.is_object() || !line.contains(format::versionField) ||
        !line.at(format::versionField).is_number_integer()) {
        fail("this is no index");
    }
    if (line.at(format::versionField).get<int64>() != format::version) {
        throw CIndexVersionError();
    }
}

std::optional<CIndexEntry> CIndexReader::findNext() {
    if (!readLine()) {
        fail("its last line is missing");
    }
    try {
        const Line line = Line::parse(m_line);
        if (line.is_object() && line.contains(format::countField)) {
            if (getNumber(line, format::countField) != m_entries) {
                throw CError("it has " + String::fromInt(m_entries) + " entries, but its last line says " +
                             String::fromInt(getNumber(line, format::countField)));
            }
            expectEnd();
            return std::nullopt;
        }
        ++m_entries;
        return readEntry(line);
    } catch (const nlohmann::json::exception&) {
        fail("it is no line of an index");
    } catch (const CIndexError&) {
        throw;
    } catch (const CError& error) {
        fail(error.getMessage());
    }
}

/// Only after the last byte the checksum of gzip is compared.
void CIndexReader::expectEnd() {
    if (readLine()) {
        throw CError("the last line is followed by others");
    }
}

bool CIndexReader::readLine() {
    ++m_lineNumber;
    try {
        return m_in.readLine(m_line, format::maxLineLength);
    } catch (const CError& error) {
        fail(error.getMessage());
    }
}

void CIndexReader::fail(const String& problem) const {
    throw CIndexError("The index cannot be read, line " + String::fromInt(m_lineNumber) + ": " + problem +
                      ".");
}

}  // namespace vexil::app
