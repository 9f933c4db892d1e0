#include "apps/vexil/s3/S3RestoreSource.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/s3/ObjectDownload.h"
#include "apps/vexil/s3/ObjectKey.h"
#include "apps/vexil/s3/S3Access.h"

#include <algorithm>

namespace vexil::app {

namespace {

// Web consoles of services make such objects to show an empty folder.
bool isFolderMarker(const CS3ListObjectsElement& element) {
    return element.getSize() == 0 && element.getKey().endsWith("/");
}

String getLastName(const String& key) {
    const std::size_t slash = key.findLast(L'/');
    return slash == String::npos ? key : key.substr(slash + 1);
}

}  // namespace

class CS3RestoreSource::CObject : public IStoredFile {
public:
    /// The source must outlive it.
    /// \param problem  why it cannot become a file; "" if it can
    CObject(const CS3RestoreSource& source, const CS3ListObjectsElement& element, const String& problem)
        : m_source(source), m_key(element.getKey()), m_size(element.getSize()), m_eTag(element.getETag()),
          m_problem(problem) {}

    String getName() const override { return m_key; }
    String getRelativeName() const override { return m_key.substr(m_source.m_prefix.length()); }
    std::filesystem::path getRelativePath() const override {
        if (!m_problem.isEmpty()) {
            throw CError(m_problem);
        }
        return makeRelativePath(m_source.m_prefix, m_key);
    }
    int64 getSize() const override { return m_size; }
    // Without an MD5 nobody can tell whether the part was changed since.
    String getContent() const override {
        const bool isProvable =
            m_source.m_access.verifiesETags() && !CS3Client::getContentMD5({{"etag", m_eTag}}).isEmpty();
        return isProvable ? m_eTag + " " + String::fromInt(m_size) : String();
    }
    std::unique_ptr<IDownload> makeDownload(const P<CFileOutStream>& out) const override {
        auto download =
            std::make_unique<CObjectDownload>(m_source.m_access, m_source.m_bucket, m_key, out.get());
        if (out->getSize() > 0) {
            // Request at least one byte, so that the server can confirm that the object is the same.
            download->goOn(*out, std::min(out->getSize(), m_size - 1), m_eTag);
        }
        return download;
    }

private:
    const CS3RestoreSource& m_source;
    String m_key;
    int64 m_size;
    String m_eTag;
    String m_problem;
};

/// An object that cannot be fetched and must be reported.
class CS3RestoreSource::CUnreadableObject : public IStoredFile {
public:
    explicit CUnreadableObject(const String& name) : m_name(name) {}

    String getName() const override { return m_name; }
    String getRelativeName() const override { return String(); }
    std::filesystem::path getRelativePath() const override { throw CError(CObjectListing::unreadableReason); }
    int64 getSize() const override { return 0; }
    std::unique_ptr<IDownload> makeDownload(const P<CFileOutStream>&) const override {
        throw CError(CObjectListing::unreadableReason);
    }

private:
    String m_name;
};

CS3RestoreSource::CS3RestoreSource(CS3Access& access, const String& bucket, const String& prefix)
    : m_access(access), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)),
      m_objects(access, m_bucket, m_prefix),
      m_groups([this](const CObjectGroup& group) { handleGroup(group); }) {}

ITransferPolicy& CS3RestoreSource::getPolicy() {
    return m_access.getPolicy();
}

std::unique_ptr<IStoredFile> CS3RestoreSource::findNext() {
    while (m_ready.empty() && !m_hasEnded) {
        read();
    }
    if (m_ready.empty()) {
        if (m_listingError) {
            std::rethrow_exception(m_listingError);
        }
        return nullptr;
    }
    std::unique_ptr<IStoredFile> file = std::move(m_ready.front());
    m_ready.pop_front();
    return file;
}

void CS3RestoreSource::read() {
    P<CS3ListObjectsElement> element;
    try {
        element = m_objects.findNext();
    } catch (const std::exception&) {
        // First the objects that were listed before the error.
        m_listingError = std::current_exception();
    }
    for (const String& name : m_objects.takeUnreadableKeys()) {
        m_ready.push_back(std::make_unique<CUnreadableObject>(name));
    }
    if (!element) {
        m_hasEnded = true;
        m_groups.finish();
    } else if (isFolderMarker(*element)) {
        return;
    } else if (findPartName(getLastName(element->getKey()))) {
        give(element, leftPartReason);
    } else if (isFile(*element)) {
        m_groups.add(element);
    } else {
        give(element, "");
    }
}

/// Whether the key can be the path of a file.
bool CS3RestoreSource::isFile(const CS3ListObjectsElement& element) const {
    try {
        makeRelativePath(m_prefix, element.getKey());
        return true;
    } catch (const CError&) {
        return false;
    }
}

void CS3RestoreSource::handleGroup(const CObjectGroup& group) {
    const String name = "'" + printable(group.object->getKey()) + "'";
    if (!group.isOutdated()) {
        give(group.object, "");
        for (const P<CS3ListObjectsElement>& element : group.below) {
            give(element,
                 "the object " + name + " is newer, and only one of them can exist: a file or a folder");
        }
        return;
    }
    give(group.object,
         "the objects below " + name + " are newer, and only one of them can exist: a file or a folder");
    CObjectGroups groups([this](const CObjectGroup& inner) { handleGroup(inner); });
    for (const P<CS3ListObjectsElement>& element : group.below) {
        groups.add(element);
    }
    groups.finish();
}

void CS3RestoreSource::give(const P<CS3ListObjectsElement>& element, const String& problem) {
    m_ready.push_back(std::make_unique<CObject>(*this, *element, problem));
}

}  // namespace vexil::app
