#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ObjectEnum.h"

namespace vexil::app {

class CConsole;
class CContext;

/// The objects of a bucket whose keys begin with a prefix, for commands that delete or write by these keys: nothing of
/// a page is seen before all of it was checked (CS3ObjectEnum::setVerifyKeys). Keys come as they are where the server can
/// encode them (CS3ObjectEnum::setEncodedKeys).
class CObjectListing {
public:
    /// Asks the server for nothing yet. The context must outlive it.
    CObjectListing(CContext& context, const String& bucket, const String& prefix);

    /// The next object; null after the last one.
    /// \throws "Interrupted." (CInterrupt), what CS3ObjectEnum::next() throws
    P<CS3ListObjectsElement> findNext();
    /// Names, for people, of objects that were left out since the last call because their keys cannot be read. To be called
    /// after each findNext(), also the last one.
    TArray<String> takeUnreadableKeys() { return m_objects.takeUnreadableKeys(); }
    /// The same, each told as an error of what is not done with it.
    /// \param what  "NOT deleted"
    /// \return how many
    int64 reportUnreadableKeys(const char* what);

    static constexpr const char* unreadableReason =
        "its key cannot be read from the bucket's listing, because the server cannot encode it";

private:
    CConsole& m_console;
    CS3ObjectEnum m_objects;
};

}  // namespace vexil::app
