#include "apps/vexil/platform/Interrupt.h"

#include <csignal>

namespace vexil::app {

namespace {

extern "C" void noteSignal(int number) {
    CInterrupt::request(number);
}

bool isIgnored(int number) {
    struct sigaction current = {};
    return sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

void watch(int number) {
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    // No SA_RESTART: a write to a blocked terminal or pipe must end. The second signal ends the process.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

}  // namespace

void CInterrupt::install() {
    watch(SIGINT);
    watch(SIGTERM);
    // nohup ignores this signal, and it stays ignored.
    if (!isIgnored(SIGHUP)) {
        watch(SIGHUP);
    }
}

}  // namespace vexil::app
