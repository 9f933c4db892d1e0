#include "zet/Path.h"

namespace zet {

wchar_t CWindowsPathTraits::getSeparator() noexcept {
    return L'/';
}

bool CWindowsPathTraits::isSeparator(wchar_t character) noexcept {
    return character == L'/';
}

bool CWindowsPathTraits::isAbsolute(const String& path) noexcept {
    return path.startsWith("/");
}

}  // namespace zet
