#include "apps/vexil/s3/ObjectListing.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/S3Access.h"

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

CObjectListing::CObjectListing(CS3Access& access, const String& bucket, const String& prefix)
    : m_console(access.getConsole()),
      m_objects(&access.getClient(), &access.getRequest(), bucket, prefix, "", -1) {
    m_objects.setVerifyKeys(true);
    m_objects.setEncodedKeys(true);
}

P<CS3ListObjectsElement> CObjectListing::findNext() {
    CInterrupt::throwIfRequested();
    return m_objects.next() ? m_objects.getCurrObject() : nullptr;
}

int64 CObjectListing::reportUnreadableKeys(const char* what) {
    const TArray<String> names = takeUnreadableKeys();
    for (const String& name : names) {
        m_console.message(Verbosity::Error, String(what) + ": " + printable(name) + ": " + unreadableReason);
    }
    return static_cast<int64>(names.size());
}

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
