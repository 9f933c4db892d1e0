#include "zet/Path.h"

namespace zet {

wchar_t CWindowsPathTraits::getSeparator() noexcept {
    return L'\\';
}

bool CWindowsPathTraits::isSeparator(wchar_t character) noexcept {
    return character == L'\\' || character == L'/';
}

bool CWindowsPathTraits::isAbsolute(const String& path) noexcept {
    const bool hasDrive = path.length() >= 3 && path[1] == L':' && isSeparator(path[2]);
    const bool isShare = path.length() >= 2 && isSeparator(path[0]) && isSeparator(path[1]);
    return hasDrive || isShare;
}

}  // namespace zet
