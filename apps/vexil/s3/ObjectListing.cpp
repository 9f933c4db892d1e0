#include "apps/vexil/s3/ObjectListing.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/S3Access.h"

namespace vexil::app {

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

}  // namespace vexil::app
