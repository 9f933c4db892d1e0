#include "zet/ModulePath.h"

#include <dlfcn.h>
#include <filesystem>

namespace zet {

TPathImpl<CWindowsPathTraits> getModuleFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&getModuleFolder), &info) == 0 || !info.dli_fname) {
        return {};
    }
    std::error_code ignored;
    const auto file = std::filesystem::absolute(info.dli_fname, ignored);
    return String::fromUTF8Lossy(file.parent_path().string());
}

}  // namespace zet
