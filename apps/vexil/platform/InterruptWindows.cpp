#include "apps/vexil/platform/Interrupt.h"

#include <csignal>
#include <windows.h>

namespace vexil::app {

namespace {

BOOL WINAPI noteEvent(DWORD event) {
    if (CInterrupt::isRequested() || (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)) {
        return FALSE;
    }
    CInterrupt::request(SIGINT);
    return TRUE;
}

}  // namespace

void CInterrupt::install() {
    SetConsoleCtrlHandler(noteEvent, TRUE);
}

}  // namespace vexil::app
