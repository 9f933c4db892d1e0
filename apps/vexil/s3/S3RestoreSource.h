#pragma once

#include "apps/vexil/mirror/RestoreSource.h"
#include "apps/vexil/s3/ObjectGroups.h"
#include "apps/vexil/s3/ObjectListing.h"

#include <deque>
#include <exception>

namespace vexil::app {

class CContext;

/// The objects below a prefix. Of an object and those that only a folder of its name could hold, what is newer becomes
/// files; the rest has a problem that names it.
class CS3RestoreSource : public IRestoreSource {
public:
    /// The context must outlive it.
    CS3RestoreSource(CContext& context, const String& bucket, const String& prefix);

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

    CContext& m_context;
    String m_bucket;
    String m_prefix;
    CObjectListing m_objects;
    CObjectGroups m_groups;
    std::deque<std::unique_ptr<IStoredFile>> m_ready;
    bool m_hasEnded = false;
    std::exception_ptr m_listingError;  // thrown after what was listed before
};

}  // namespace vexil::app
