#include "zet/Thread.h"

#include <windows.h>

// In Windows 10 and later. The headers of MinGW do not declare it yet.
extern "C" __declspec(dllimport) HRESULT WINAPI SetThreadDescription(HANDLE thread, PCWSTR description);

namespace zet {

void CThread::nameCurrentThread(const String& name) noexcept {
    try {
        SetThreadDescription(GetCurrentThread(), name.c_str());
    } catch (const std::exception&) {
        // A thread without a name works, too.
    }
}

}  // namespace zet
