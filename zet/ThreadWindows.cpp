#include "zet/Thread.h"

#include <windows.h>

// Of Windows 10 and later; the headers of MinGW do not have it yet.
extern "C" __declspec(dllimport) HRESULT WINAPI SetThreadDescription(HANDLE thread, PCWSTR description);

namespace zet {

void CThread::nameCurrentThread(const String& name) noexcept {
    try {
        SetThreadDescription(GetCurrentThread(), name.c_str());
    } catch (const std::exception&) {
        // A thread works as well without a name.
    }
}

}  // namespace zet
