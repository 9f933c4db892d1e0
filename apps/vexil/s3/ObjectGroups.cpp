#include "apps/vexil/s3/ObjectGroups.h"

#include <algorithm>
#include <utility>

namespace vexil::app {

namespace {

/// For comparisons within one listing, whose times are ISO 8601 in UTC. Without the "Z", a time with a
/// fraction of a second is greater than the same time without.
String getTime(const CS3ListObjectsElement& object) {
    const String& time = object.getLastModified();
    return time.endsWith("Z") ? time.substr(0, time.length() - 1) : time;
}

bool isBelow(const CS3ListObjectsElement& object, const CS3ListObjectsElement& folder) {
    const std::size_t length = folder.getKey().length();
    return object.getKey().length() > length && object.getKey()[length] == L'/';
}

}  // namespace

bool CObjectGroup::isOutdated() const {
    const String time = getTime(*object);
    return std::any_of(below.begin(), below.end(),
                       [&time](const auto& other) { return !(getTime(*other) < time); });
}

void CObjectGroups::add(const P<CS3ListObjectsElement>& object) {
    while (!m_chain.empty() && !object->getKey().startsWith(m_chain.back().object->getKey())) {
        releaseLast();
    }
    const auto group = std::find_if(m_chain.begin(), m_chain.end(), [&object](const CObjectGroup& candidate) {
        return isBelow(*object, *candidate.object);
    });
    if (group != m_chain.end()) {
        group->below.push_back(object);
    } else {
        m_chain.push_back({object, {}});
    }
}

void CObjectGroups::finish() {
    while (!m_chain.empty()) {
        releaseLast();
    }
}

void CObjectGroups::releaseLast() {
    const CObjectGroup group = std::move(m_chain.back());
    m_chain.pop_back();
    m_onGroup(group);
}

}  // namespace vexil::app
