#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ObjectEnum.h"

namespace vexil::app {

class CContext;

/// The objects of a bucket whose keys begin with a prefix, for commands that delete or write by these keys: nothing of
/// a page is seen before all of it was checked (CS3ObjectEnum::setVerifyKeys).
class CObjectListing {
public:
    /// Asks the server for nothing yet. The context must outlive it.
    CObjectListing(CContext& context, const String& bucket, const String& prefix);

    /// The next object; null after the last one.
    /// \throws "Interrupted." (CInterrupt), what CS3ObjectEnum::next() throws
    P<CS3ListObjectsElement> findNext();

private:
    CS3ObjectEnum m_objects;
};

}  // namespace vexil::app
