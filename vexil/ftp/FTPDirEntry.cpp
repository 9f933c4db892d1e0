#include "vexil/ftp/FTPDirEntry.h"

#include "zet/ParseNumber.h"
#include "zet/TimeFields.h"

namespace vexil {

namespace {

constexpr std::size_t timeDigits = 14;

[[noreturn]] void throwInvalidEntry(const String& factLine) {
    throw CError("Invalid FTP dir entry: '" + factLine + "'");
}

int numberAt(const String& value, std::size_t position, std::size_t digits) {
    return static_cast<int>(zet::parseInt64(value.substr(position, digits), 0));
}

}  // namespace

CFTPDirEntry::CFTPDirEntry(const String& factLine) {
    const std::size_t space = factLine.find(L' ');
    if (space == String::npos) {
        throwInvalidEntry(factLine);
    }
    std::wstring_view facts = factLine.view().substr(0, space);
    // Each fact ends with ";", so nothing follows the last ";". An empty fact anywhere else is an error.
    while (!facts.empty()) {
        const std::size_t end = facts.find(L';');
        readFact(factLine, facts.substr(0, end));
        facts.remove_prefix(end == facts.npos ? facts.size() : end + 1);
    }
    m_name = factLine.substr(space + 1);
}

CFTPDirEntry::~CFTPDirEntry() = default;

void CFTPDirEntry::readFact(const String& factLine, std::wstring_view piece) {
    String fact(piece);
    fact.makeLower();
    const std::size_t equals = fact.find(L'=');
    if (equals == String::npos) {
        throwInvalidEntry(factLine);
    }
    const std::wstring_view key = fact.view().substr(0, equals);
    const String value = fact.substr(equals + 1);
    if (key == L"type") {
        if (value == "file") {
            m_type = zet::IFileInfoBase::TypeFile;
        } else if (value == "dir") {
            m_type = zet::IFileInfoBase::TypeDirectory;
        }
    } else if (key == L"size") {
        m_size = zet::parseInt64(value, 0);
    } else if (key == L"modify") {
        m_modifiedTime = parseTimeValue(value);
    } else if (key == L"unique") {
        m_uniqueID = String(piece.substr(piece.find(L'=') + 1));
    }
}

zet::CTime CFTPDirEntry::parseTimeValue(const String& value) {
    const bool hasFraction = value.length() > timeDigits;
    if (value.length() < timeDigits || (hasFraction && value[timeDigits] != L'.')) {
        throw CError("Invalid FTP time value: '" + value + "'");
    }
    zet::CTimeFields fields;
    fields.setDate(numberAt(value, 0, 4), numberAt(value, 4, 2), numberAt(value, 6, 2));
    fields.setTime(numberAt(value, 8, 2), numberAt(value, 10, 2), numberAt(value, 12, 2));
    if (hasFraction) {
        fields.setFractSecond(zet::parseSimpleDouble(value.substr(timeDigits), 0));
    }
    return fields.toTime();
}

}  // namespace vexil
