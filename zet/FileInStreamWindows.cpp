#include "zet/FileInStream.h"

#include <windows.h>

namespace zet {

std::optional<CFileInStream::CChangeTime> CFileInStream::findChangeTime(const std::filesystem::path& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        return std::nullopt;
    }
    return CChangeTime{data.ftLastWriteTime.dwHighDateTime,
                       static_cast<int64>(data.ftLastWriteTime.dwLowDateTime)};
}

}  // namespace zet
