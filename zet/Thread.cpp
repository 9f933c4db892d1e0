#include "zet/Thread.h"

#include <chrono>
#include <thread>

namespace zet {

void CThread::sleep(int milliseconds) {
    if (milliseconds > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
}

void threadYield(bool isLongWait) {
    if (isLongWait) {
        CThread::sleep(1);
    } else {
        std::this_thread::yield();
    }
}

}  // namespace zet
