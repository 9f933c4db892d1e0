#include "apps/vexil/s3/ObjectKey.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <string>

namespace vexil::app {

namespace {

// The limit of the service, in bytes of UTF-8.
constexpr std::size_t maxKeyBytes = 1024;

// Listings are XML 1.0, which does not allow other characters, and XML readers replace a carriage return.
bool isXMLCharacter(wchar_t character) {
    return zet::isWhiteSpace(character) ? character != L'\v' && character != L'\f' && character != L'\r'
                                        : character >= 0x20 && character != 0xFFFE && character != 0xFFFF;
}

[[noreturn]] void refuse(const String& key, const String& reason) {
    throw CError("The object '" + printable(key) + "' cannot be stored as a file: " + reason + ".");
}

String findComponentProblem(const String& component) {
    if (component.isEmpty()) {
        return "its key has an empty name between slashes, or begins or ends with one";
    }
    if (component == "." || component == "..") {
        return "its key has '" + component + "' as a name, which could lead out of the folder";
    }
    const String problem = findNameProblem(component);
    return problem.isEmpty() ? problem : "'" + printable(component) + "' " + problem;
}

}  // namespace

String makeFolderPrefix(const String& prefix) {
    return prefix.isEmpty() || prefix.endsWith("/") ? prefix : prefix + "/";
}

String makeObjectKey(const String& prefix, const std::filesystem::path& relativePath) {
    String key = prefix + toText(relativePath);
    if (const std::size_t bytes = key.toUTF8().size(); bytes > maxKeyBytes) {
        throw CError("its key has " + formatNumberOf(static_cast<int64>(bytes), "byte") + ", and " +
                     formatCount(maxKeyBytes) + " are allowed");
    }
    return key;
}

String findListingProblem(const String& key) {
    if (!std::all_of(key.view().begin(), key.view().end(), isXMLCharacter)) {
        return "its name has a control character, which the listings of this server cannot contain";
    }
    if (zet::isWhiteSpace(key[0])) {
        return "its name begins with a space or a line end, which the listings of this server may lose; "
               "with a PREFIX it could be stored";
    }
    return String();
}

std::filesystem::path makeRelativePath(const String& prefix, const String& key) {
    const String name = key.substr(prefix.length());
    std::filesystem::path path;
    for (std::size_t start = 0; start <= name.length();) {
        const std::size_t end = std::min(name.find(L'/', start), name.length());
        const String component = name.substr(start, end - start);
        if (const String problem = findComponentProblem(component); !problem.isEmpty()) {
            refuse(key, problem);
        }
        path /= toPath(component);
        start = end + 1;
    }
    return path;
}

}  // namespace vexil::app
