#include "zet/FileInStream.h"

#include <sys/stat.h>

namespace zet {

std::optional<CFileInStream::CChangeTime> CFileInStream::findChangeTime(const std::filesystem::path& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return CChangeTime{status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace zet
