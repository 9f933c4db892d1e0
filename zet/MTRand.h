#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Mutex.h"
#include "zet/Types.h"

#include <random>

namespace zet {

/// Mersenne twister, a generator of pseudo-random numbers for names and boundaries. Do not use it for
/// secrets: the next numbers can be calculated from the earlier ones.
///
/// Thread safety: one thread at a time. Hold the lock of the global one while you use it.
///
/// \code
/// const CMutexLock lock(CMTRand::getGlobalInstanceMutex());
/// const uint64 number = CMTRand::getGlobal()->rand64();
/// \endcode
class ZET_API CMTRand : public virtual CBase {
public:
    /// The same seed gives the same sequence.
    explicit CMTRand(uint64 seed);
    ~CMTRand() override;

    /// The process-wide generator, with another sequence in each process. Never null; lives until the process
    /// ends.
    [[nodiscard]] static CMTRand* getGlobal() ZET_REQUIRES(getGlobalInstanceMutex());
    /// The lock to hold while the process-wide generator is used.
    [[nodiscard]] static CMutex& getGlobalInstanceMutex();

    /// The next number; all 64-bit numbers are equally likely.
    uint64 rand64() { return m_engine(); }

private:
    std::mt19937_64 m_engine;
};

}  // namespace zet
