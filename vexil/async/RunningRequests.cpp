#include "vexil/async/RunningRequests.h"

#include <algorithm>
#include <cassert>

namespace vexil {

namespace {

constexpr std::size_t fewestGapsToRemove = 32;

}  // namespace

void CRunningRequests::add(const P<CNetRequest>& request) {
    assert(!contains(request));
    const std::size_t place = m_slots.size();
    m_slots.push_back(request);
    try {
        m_places.emplace(request.get(), place);
        m_places.emplace(request->getHandle(), place);
    } catch (...) {
        m_places.erase(request.get());
        m_slots.pop_back();
        throw;
    }
    ++m_count;
}

P<CNetRequest> CRunningRequests::find(const CURL* handle) const {
    const auto place = m_places.find(handle);
    return place == m_places.end() ? nullptr : m_slots[place->second];
}

bool CRunningRequests::hasCancelledToken() const {
    return std::any_of(m_slots.begin(), m_slots.end(), [](const P<CNetRequest>& request) {
        const P<CCancelToken> token = request ? request->getCancelToken() : nullptr;
        return token && token->isCancelled();
    });
}

const P<CNetRequest>& CRunningRequests::getAt(int index) {
    removeGaps();
    return m_slots[static_cast<std::size_t>(index)];
}

void CRunningRequests::remove(const CNetRequest* request) noexcept {
    const auto place = m_places.find(request);
    m_slots[place->second] = nullptr;
    m_places.erase(place);
    m_places.erase(request->getHandle());
    --m_count;
    while (!m_slots.empty() && !m_slots.back()) {
        m_slots.pop_back();
    }
    // Rarely, so that a removal costs the same on average for any number of requests.
    if (m_slots.size() - m_count > std::max(fewestGapsToRemove, m_count)) {
        removeGaps();
    }
}

void CRunningRequests::removeGaps() noexcept {
    if (m_slots.size() == m_count) {
        return;
    }
    std::erase(m_slots, nullptr);
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        m_places.find(m_slots[i].get())->second = i;
        m_places.find(m_slots[i]->getHandle())->second = i;
    }
}

}  // namespace vexil
