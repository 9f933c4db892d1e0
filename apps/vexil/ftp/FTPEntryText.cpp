#include "apps/vexil/ftp/FTPEntryText.h"

#include "apps/vexil/base/Text.h"
#include "zet/TimeFields.h"

#include <string>

namespace vexil::app {

namespace {

constexpr std::size_t typeColumns = 4;
constexpr std::size_t sizeColumns = 12;
constexpr std::size_t timeColumns = 20;

String makeBlanks(const String& text, std::size_t columns) {
    return String(std::wstring(text.length() < columns ? columns - text.length() : 0, L' '));
}

const char* nameType(zet::IFileInfoBase::Type type) {
    switch (type) {
    case zet::IFileInfoBase::TypeFile:
        return "file";
    case zet::IFileInfoBase::TypeDirectory:
        return "dir";
    default:
        return "-";
    }
}

bool isUTF8(const std::string& bytes) {
    try {
        static_cast<void>(String::fromUTF8(bytes));
        return true;
    } catch (const CError&) {
        return false;
    }
}

}  // namespace

String makeEntryLine(const CFTPDirEntry& entry) {
    const String type = nameType(entry.getType());
    const bool isFile = entry.getType() == zet::IFileInfoBase::TypeFile;
    const String size = isFile ? String::fromInt(entry.getSize()) : String("-");
    const String time = entry.getModifiedTime().isSet()
                            ? zet::CTimeFields(entry.getModifiedTime()).toISODateTime(0)
                            : String("-");
    return type + makeBlanks(type, typeColumns) + "  " + makeBlanks(size, sizeColumns) + size + "  " + time +
           makeBlanks(time, timeColumns) + "  " + printable(entry.getName());
}

FTPUnreadableEntry::FTPUnreadableEntry(const std::string& line) {
    const std::string nameBytes = line.substr(line.find(' ') + 1);
    name = printableBytes(nameBytes);
    if (nameBytes.find('\n') != std::string::npos) {
        problem = "its name contains a line end";
    } else if (!isUTF8(nameBytes)) {
        problem = "its name is not UTF-8 text";
    } else {
        problem = "its facts cannot be read";
    }
}

}  // namespace vexil::app
