#pragma once

#include "apps/vexil/mirror/RestoreSource.h"
#include "apps/vexil/s3/ObjectGroups.h"
#include "apps/vexil/s3/ObjectListing.h"

#include <deque>
#include <exception>

namespace vexil::app {

class CS3Access;

/// The objects below a prefix. If an object and objects below a folder of its name exist, the newer ones
/// become files; the others have a problem that names them.
class CS3RestoreSource : public IRestoreSource {
public:
    /// The access must outlive it.
    CS3RestoreSource(CS3Access& access, const String& bucket, const String& prefix);

    ITransferPolicy& getPolicy() override;
    std::unique_ptr<IStoredFile> findNext() override;
    const char* getNoun() const override { return "object"; }
    const char* getQuestionWhereEmpty() const override { return "is the prefix right?"; }

private:
    class CObject;
    class CUnreadableObject;

    bool isFile(const CS3ListObjectsElement& element) const;
    void read();
    void handleGroup(const CObjectGroup& group);
    void give(const P<CS3ListObjectsElement>& element, const String& problem);

    CS3Access& m_access;
    String m_bucket;
    String m_prefix;
    CObjectListing m_objects;
    CObjectGroups m_groups;
    std::deque<std::unique_ptr<IStoredFile>> m_ready;
    bool m_hasEnded = false;
    std::exception_ptr m_listingError;  // thrown after the objects that were listed before it
};

}  // namespace vexil::app
