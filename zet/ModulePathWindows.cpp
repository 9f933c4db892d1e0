#include "zet/ModulePath.h"

#include <windows.h>

namespace zet {

TPathImpl<CWindowsPathTraits> getModuleFolder() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&getModuleFolder), &module)) {
        return {};
    }
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    const auto end = path.find_last_of(L'\\');
    return end == std::wstring::npos ? String() : String(path.substr(0, end));
}

}  // namespace zet
