#include "apps/vexil/ObjectListing.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"

namespace vexil::app {

CObjectListing::CObjectListing(CContext& context, const String& bucket, const String& prefix)
    : m_objects(&context.getClient(), &context.getRequest(), bucket, prefix, "", -1) {
    m_objects.setVerifyKeys(true);
}

P<CS3ListObjectsElement> CObjectListing::findNext() {
    CInterrupt::throwIfRequested();
    return m_objects.next() ? m_objects.getCurrObject() : nullptr;
}

}  // namespace vexil::app
