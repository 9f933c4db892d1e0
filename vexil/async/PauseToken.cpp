#include "vexil/async/PauseToken.h"

namespace vexil {

static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler writes it");

CPauseToken::CPauseToken() = default;

CPauseToken::~CPauseToken() = default;

void CPauseToken::pause() noexcept {
    m_isPaused = true;
}

void CPauseToken::resume() noexcept {
    m_isPaused = false;
}

bool CPauseToken::isPaused() const noexcept {
    return m_isPaused;
}

}  // namespace vexil
