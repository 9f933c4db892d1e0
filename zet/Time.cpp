#include "zet/Time.h"

#include "zet/TimeSpan.h"

#include <chrono>

namespace zet {

CTime CTime::now() noexcept {
    using namespace std::chrono;
    return CTime(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

CTime CTime::fromCTime(int64 seconds) noexcept {
    return CTime(CTimeSpan::fromSeconds(seconds).getMicroseconds());
}

}  // namespace zet
