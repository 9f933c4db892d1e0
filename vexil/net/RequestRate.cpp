#include "vexil/net/RequestRate.h"

#include "vexil/net/RateWaiters.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr std::chrono::milliseconds longestSleep{50};
constexpr std::chrono::milliseconds longestPause{500};

}  // namespace

CRequestRate::CRequestRate(CURL* handle) : m_handle(handle), m_node{this}, m_place(m_node.begin()) {}

void CRequestRate::begin(bool isLimitable, CRateWaiters* waiters) noexcept {
    end();
    if (isLimitable) {
        m_running = m_limit;
    }
    m_waiters = waiters;
    m_takenOfBlock = 0;
    m_isSourcePaused = false;
    m_failure = CURLE_OK;
}

void CRequestRate::end() noexcept {
    if (m_waiters) {
        m_waiters->remove(*this);
    }
    if (m_running) {
        getBuckets().drop(RateDirection::Download, m_download.place);
        getBuckets().drop(RateDirection::Upload, m_upload.place);
    }
    m_download = {};
    m_upload = {};
    m_waiters = nullptr;
    m_running = nullptr;
}

std::size_t CRequestRate::takeDownload(std::size_t wanted) noexcept {
    return take(RateDirection::Download, m_download, wanted);
}

std::size_t CRequestRate::takeUpload(std::size_t wanted) noexcept {
    return take(RateDirection::Upload, m_upload, wanted);
}

std::size_t CRequestRate::take(RateDirection direction, Way& way, std::size_t wanted) noexcept {
    const int64 bytes = getBuckets().take(direction, way.place, static_cast<int64>(wanted));
    way.isWaiting = bytes == 0;
    if (way.isWaiting && m_waiters) {
        m_waiters->add(*this);
    } else if (m_isListed && !m_download.isWaiting && !m_upload.isWaiting) {
        m_waiters->remove(*this);
    }
    return static_cast<std::size_t>(bytes);
}

void CRequestRate::giveBackUpload(std::size_t bytes) noexcept {
    getBuckets().giveBack(RateDirection::Upload, static_cast<int64>(bytes));
}

bool CRequestRate::wait() noexcept {
    if (!hasFailed() && !m_waiters && (m_download.isWaiting || m_upload.isWaiting)) {
        getBuckets().sleep(std::min<std::chrono::nanoseconds>(getWait(), longestSleep));
        resume();
    }
    return !hasFailed();
}

void CRequestRate::resume() noexcept {
    m_download.isWaiting = false;
    m_upload.isWaiting = false;
    // libcurl calls the write callback here, and looks at the transfer again soon.
    const CURLcode result = curl_easy_pause(m_handle, m_isSourcePaused ? CURLPAUSE_SEND : CURLPAUSE_CONT);
    // A transfer without a connection is about to end.
    if (result != CURLE_OK && result != CURLE_BAD_FUNCTION_ARGUMENT) {
        m_failure = result;
        // Leaving a pause makes libcurl look at the transfer again: the progress callback then ends it.
        curl_easy_pause(m_handle, CURLPAUSE_ALL);
        curl_easy_pause(m_handle, CURLPAUSE_CONT);
    }
}

std::chrono::nanoseconds CRequestRate::getWait() const noexcept {
    auto wait = std::chrono::nanoseconds::max();
    if (m_download.isWaiting) {
        wait = std::min(wait, getBuckets().getWait(RateDirection::Download, m_download.place));
    }
    if (m_upload.isWaiting) {
        wait = std::min(wait, getBuckets().getWait(RateDirection::Upload, m_upload.place));
    }
    return wait;
}

bool CRequestRate::isDue(Clock::time_point now) const noexcept {
    return getWait() == std::chrono::nanoseconds(0) || now - m_listedAt >= longestPause;
}

}  // namespace vexil
