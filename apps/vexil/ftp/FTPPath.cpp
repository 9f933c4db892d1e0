#include "apps/vexil/ftp/FTPPath.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <string>

namespace vexil::app {

namespace {

// The path of a transfer is part of a URL, in which libcurl accepts no such character, encoded or not.
bool isControl(wchar_t character) {
    return character < 0x20 || character == 0x7F;
}

}  // namespace

String makeServerPath(const std::string& argument) {
    String path = String::fromUTF8(argument);
    if (!path.startsWith("/")) {
        throw CInvalidArgError("makeServerPath",
                               "the path '" + printable(path) + "' on the server does not begin with '/'");
    }
    while (path.length() > 1 && path.endsWith("/")) {
        path = path.substr(0, path.length() - 1);
    }
    return path;
}

String joinServerPath(const String& directory, const String& name) {
    return directory.endsWith("/") ? directory + name : directory + "/" + name;
}

String getServerDirectory(const String& path) {
    return path.substr(0, std::max<std::size_t>(1, path.findLast(L'/')));
}

String getServerName(const String& path) {
    return path.substr(path.findLast(L'/') + 1);
}

TArray<String> getDirsDownTo(const String& path) {
    TArray<String> directories;
    for (std::size_t end = 0; end < path.length();) {
        end = std::min(path.find(L'/', end + 1), path.length());
        if (end > 1) {
            directories.push_back(path.substr(0, end));
        }
    }
    return directories;
}

String makeServerName(const std::filesystem::path& relativePath) {
    String name = toText(relativePath);
    if (std::any_of(name.view().begin(), name.view().end(), isControl)) {
        throw CError("its name has a control character, which cannot be transferred over FTP");
    }
    return name;
}

bool leadsElsewhere(const String& name) {
    return name.isEmpty() || name == "." || name == ".." || name.find(L'/') != String::npos;
}

String findEntryNameProblem(const String& name) {
    if (leadsElsewhere(name)) {
        return "could lead out of the folder";
    }
    return findNameProblem(name);
}

}  // namespace vexil::app
