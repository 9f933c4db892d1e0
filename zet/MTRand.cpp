#include "zet/MTRand.h"

#include <chrono>

namespace zet {

namespace {

uint64 makeSeed() {
    std::random_device device;
    const uint64 high = device();
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    // Mix in the clock: a deterministic random_device would give every process the same sequence.
    return (high << 32 | device()) ^ static_cast<uint64>(ticks);
}

}  // namespace

CMTRand::CMTRand(uint64 seed) : m_engine(seed) {}

CMTRand::~CMTRand() = default;

CMTRand* CMTRand::getGlobal() {
    // Never destroyed: objects with static lifetime may use it at the end of the process.
    static CMTRand* const generator = new CMTRand(makeSeed());
    return generator;
}

CMutex& CMTRand::getGlobalInstanceMutex() {
    static CMutex* const mutex = new CMutex;
    return *mutex;
}

}  // namespace zet
