#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Mutex.h"
#include "zet/Types.h"

#include <random>

namespace zet {

/// Mersenne twister, a generator of pseudo-random numbers for names and boundaries. Not for secrets: who has seen
/// some of its numbers knows the rest.
///
/// Thread safety: one thread at a time; the global one under its lock.
///
/// \code
/// const CMutexLock lock(CMTRand::getGlobalInstanceMutex());
/// const uint64 number = CMTRand::getGlobal()->rand64();
/// \endcode
class ZET_API CMTRand : public virtual CBase {
public:
    /// Begins the same sequence for the same seed.
    explicit CMTRand(uint64 seed);
    ~CMTRand() override;

    /// The process-wide generator, which begins differently in each process. Never null; lives until the process
    /// ends.
    static CMTRand* getGlobal();
    /// The lock to hold while the process-wide generator is used.
    static CMutex& getGlobalInstanceMutex();

    /// The next number; all 64-bit numbers are equally likely.
    uint64 rand64() { return m_engine(); }

private:
    std::mt19937_64 m_engine;
};

}  // namespace zet
