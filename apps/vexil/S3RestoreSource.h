#pragma once

#include "apps/vexil/ObjectListing.h"
#include "apps/vexil/RestoreSource.h"

namespace vexil::app {

class CContext;

/// The objects below a prefix.
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

    CContext& m_context;
    String m_bucket;
    String m_prefix;
    CObjectListing m_objects;
};

}  // namespace vexil::app
