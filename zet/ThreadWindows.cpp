#include "zet/Thread.h"

#include <windows.h>

namespace zet {

void CThread::nameCurrentThread(const String& name) noexcept {
    try {
        SetThreadDescription(GetCurrentThread(), name.c_str());
    } catch (const std::exception&) {
        // A thread works as well without a name.
    }
}

}  // namespace zet
