#pragma once

#include "zet/Export.h"

namespace zet {

/// Operations on the calling thread.
class ZET_API CThread {
public:
    /// Does nothing for so many milliseconds; 0 and less return at once.
    static void sleep(int milliseconds);
};

/// Gives way to other threads in a loop that waits for one of them.
/// \param isLongWait  the wait may be long: sleep for a millisecond instead of spinning
ZET_API void threadYield(bool isLongWait);

}  // namespace zet
