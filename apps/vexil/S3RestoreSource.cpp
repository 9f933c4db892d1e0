#include "apps/vexil/S3RestoreSource.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ObjectDownload.h"
#include "apps/vexil/ObjectKey.h"

namespace vexil::app {

namespace {

// Consoles of services make such objects so that a folder can be seen while it is empty.
bool isFolderMarker(const CS3ListObjectsElement& element) {
    return element.getSize() == 0 && element.getKey().endsWith("/");
}

}  // namespace

class CS3RestoreSource::CObject : public IStoredFile {
public:
    /// The source must outlive it.
    CObject(const CS3RestoreSource& source, const CS3ListObjectsElement& element)
        : m_source(source), m_key(element.getKey()), m_size(element.getSize()) {}

    String getName() const override { return m_key; }
    String getRelativeName() const override { return m_key.substr(m_source.m_prefix.length()); }
    std::filesystem::path getRelativePath() const override {
        return makeRelativePath(m_source.m_prefix, m_key);
    }
    int64 getSize() const override { return m_size; }
    std::unique_ptr<IDownload> makeDownload(const P<zet::IOutStream>& out) const override {
        return std::make_unique<CObjectDownload>(m_source.m_context, m_source.m_bucket, m_key, out);
    }

private:
    const CS3RestoreSource& m_source;
    String m_key;
    int64 m_size;
};

CS3RestoreSource::CS3RestoreSource(CContext& context, const String& bucket, const String& prefix)
    : m_context(context), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)),
      m_objects(context, m_bucket, m_prefix) {}

ITransferPolicy& CS3RestoreSource::getPolicy() {
    return m_context.getS3Policy();
}

std::unique_ptr<IStoredFile> CS3RestoreSource::findNext() {
    while (const P<CS3ListObjectsElement> element = m_objects.findNext()) {
        if (!isFolderMarker(*element)) {
            return std::make_unique<CObject>(*this, *element);
        }
    }
    return nullptr;
}

}  // namespace vexil::app
