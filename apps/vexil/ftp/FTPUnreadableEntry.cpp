#include "apps/vexil/ftp/FTPUnreadableEntry.h"

#include "apps/vexil/base/Text.h"

namespace vexil::app {

namespace {

bool isUTF8(const std::string& bytes) {
    try {
        static_cast<void>(String::fromUTF8(bytes));
        return true;
    } catch (const CError&) {
        return false;
    }
}

}  // namespace

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
