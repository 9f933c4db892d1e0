#include "apps/vexil/s3/S3Store.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/s3/ObjectDownload.h"
#include "apps/vexil/s3/ObjectKey.h"
#include "apps/vexil/s3/ObjectListing.h"
#include "apps/vexil/s3/ObjectMark.h"
#include "apps/vexil/s3/ObjectUpload.h"
#include "apps/vexil/s3/PartedDownload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/s3/UploadState.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "sigil/Digest.h"
#include "sigil/Hex.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

constexpr std::size_t blockSize = 1 << 20;

CS3PutOptions makeOptions(const std::optional<CFileTime>& time) {
    CS3PutOptions options{.contentType = "application/octet-stream"};
    if (time) {
        options.metadata[timeMetadata] = String::fromUTF8(time->toText());
    }
    return options;
}

// Web consoles of services make such objects to show an empty folder.
bool isFolderMarker(const CS3ListObjectsElement& element) {
    return element.getSize() == 0 && element.getKey().endsWith("/");
}

/// Whether another object has come in between.
bool isConflict(const CError& error, bool isReplaced) {
    const String code = error.getProps().lookup("s3-code");
    return CS3Client::isPreconditionFailed(error) || code == "ConditionalRequestConflict" ||
           // The object was deleted.
           (isReplaced && CS3Client::isNotFoundError(error) && !(code == "NoSuchBucket"));
}

/// As 32 lower-case hexadecimal digits.
String computeMD5(zet::IInStream& stream) {
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    std::vector<char> block(blockSize);
    while (const int length = stream.read(block.data(), static_cast<int>(block.size()))) {
        digest->update(block.data(), length);
    }
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash).toLower();
}

String getLastName(const String& key) {
    const std::size_t slash = key.findLast(L'/');
    return slash == String::npos ? key : key.substr(slash + 1);
}

}  // namespace

class CS3Store::CObject : public IStoredFile {
public:
    /// The store must outlive it.
    /// \param problem  why it cannot become a file; "" if it can
    CObject(const CS3Store& store, const CS3ListObjectsElement& element, const String& problem)
        : m_store(store), m_key(element.getKey().toUTF8()), m_size(element.getSize()),
          m_eTag(element.getETag().toUTF8()), m_problem(problem) {}

    String getName() const override { return getKey(); }
    String getRelativeName() const override { return getKey().substr(m_store.m_prefix.length()); }
    std::filesystem::path getRelativePath() const override {
        if (!m_problem.isEmpty()) {
            throw CError(m_problem);
        }
        return makeRelativePath(m_store.m_prefix, getKey());
    }
    int64 getSize() const override { return m_size; }
    String getMark() const override { return makeObjectMark(getETag()); }
    // Without an MD5 nobody can tell whether the part was changed since.
    String getContent() const override {
        if (isFetchedAlone()) {
            return getPartedDownload().getContent();
        }
        const bool isProvable =
            m_store.m_access.verifiesETags() && !CS3Client::getContentMD5({{"etag", getETag()}}).isEmpty();
        return isProvable ? getETag() + " " + String::fromInt(m_size) : String();
    }
    std::unique_ptr<IDownload> makeDownload(const P<CPartStream>& out) const override {
        auto download =
            std::make_unique<CObjectDownload>(m_store.m_access, m_store.m_bucket, getKey(), out.get());
        if (out->getSize() > 0) {
            // Request at least one byte, so that the server can confirm that the object is the same.
            download->goOn(*out, std::min(out->getSize(), m_size - 1), getETag());
        }
        return download;
    }
    bool isFetchedAlone() const override { return isReadInParts(m_store.m_download, m_size, getETag()); }
    void fetchAlone(const std::filesystem::path& file, CFileProgress& progress) const override {
        downloadInParts(m_store.m_access, getPartedDownload(), file, progress);
    }

private:
    String getKey() const { return String::fromUTF8(m_key); }
    String getETag() const { return String::fromUTF8(m_eTag); }
    CPartedDownload getPartedDownload() const { return {m_store.m_bucket, getKey(), m_store.m_download}; }

    const CS3Store& m_store;
    // In UTF-8: a restore keeps all of them in memory.
    std::string m_key;
    int64 m_size;
    std::string m_eTag;
    String m_problem;
};

/// An object that cannot be fetched and must be reported.
class CS3Store::CUnreadableObject : public IStoredFile {
public:
    explicit CUnreadableObject(const String& name) : m_name(name) {}

    String getName() const override { return m_name; }
    String getRelativeName() const override { return String(); }
    std::filesystem::path getRelativePath() const override { throw CError(CObjectListing::unreadableReason); }
    int64 getSize() const override { return 0; }
    std::unique_ptr<IDownload> makeDownload(const P<CPartStream>&) const override {
        throw CError(CObjectListing::unreadableReason);
    }

private:
    String m_name;
};

class CS3Store::CListing : public IStoreListing {
public:
    explicit CListing(const CS3Store& store)
        : m_store(store), m_objects(store.m_access, store.m_bucket, store.m_prefix),
          m_groups([this](const CObjectGroup& group) { handleGroup(group); }) {}

    std::unique_ptr<IStoredFile> findNext() override;

private:
    void read();
    void handleGroup(const CObjectGroup& group);
    void give(const P<CS3ListObjectsElement>& element, const String& problem);

    const CS3Store& m_store;
    CObjectListing m_objects;
    CObjectGroups m_groups;
    std::deque<std::unique_ptr<IStoredFile>> m_ready;
    bool m_hasEnded = false;
    std::exception_ptr m_listingError;  // thrown after the objects that were listed before it
};

std::unique_ptr<IStoredFile> CS3Store::CListing::findNext() {
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

void CS3Store::CListing::read() {
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
    } else if (m_store.findRelativePath(element->getKey())) {
        m_groups.add(element);
    } else {
        give(element, "");
    }
}

void CS3Store::CListing::handleGroup(const CObjectGroup& group) {
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

void CS3Store::CListing::give(const P<CS3ListObjectsElement>& element, const String& problem) {
    m_ready.push_back(std::make_unique<CObject>(m_store, *element, problem));
}

CS3Store::CS3Store(CS3Access& access, const String& bucket, const String& prefix,
                   const CUploadOptions& upload)
    : m_access(access), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)), m_upload(upload) {}

CS3Store::CS3Store(CS3Access& access, const String& bucket, const String& prefix,
                   const CDownloadOptions& download)
    : m_access(access), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)), m_download(download) {}

void CS3Store::setResumesUploads(bool resumes) {
    m_resumesUploads = resumes && CUploadState::isPossible();
}

IServerPolicy& CS3Store::getPolicy() {
    return m_access.getPolicy();
}

std::unique_ptr<IUpload> CS3Store::makeUpload(const P<CFileInStream>& file,
                                              const std::filesystem::path& relativePath,
                                              const std::optional<CFileTime>& time) {
    const String key = makeObjectKey(m_prefix, relativePath);
    checkListing(key);
    return std::make_unique<CObjectUpload>(m_access, file, m_bucket, key, makeOptions(time));
}

void CS3Store::beginUploads() {
    m_access.getClient().setUploadCheck(m_upload.getCheckOfObjects(m_access));
}

CPartedUpload CS3Store::makePartedUpload(const String& key, const CS3PutOptions& options) const {
    return {.bucket = m_bucket,
            .key = key,
            .options = options,
            .partSize = m_upload.getParts().getSize(),
            .jobs = m_upload.getParts().getJobs(),
            .check = m_upload.getCheckOfParts()};
}

String CS3Store::storeAlone(const std::filesystem::path& file, const std::filesystem::path& relativePath,
                            const std::optional<CFileTime>& time, CFileProgress& progress) {
    const String key = makeObjectKey(m_prefix, relativePath);
    checkListing(key);
    const CPartedUpload upload = makePartedUpload(key, makeOptions(time));
    return makeObjectMark(m_resumesUploads ? uploadInPartsOrResume(m_access, file, upload, progress)
                                           : uploadInParts(m_access, file, upload, progress));
}

bool CS3Store::replace(CSession& session, const std::filesystem::path& file,
                       const std::filesystem::path& relativePath, const std::optional<String>& mark) {
    const String key = makeObjectKey(m_prefix, relativePath);
    CS3PutOptions options = makeOptions(std::nullopt);
    if (!mark) {
        options.ifNoneMatch = "*";
    } else if (!mark->isEmpty()) {
        // Older versions of Ceph compare it with the ETag without quotation marks. Others ignore these.
        options.ifMatch = *mark;
    }
    try {
        storeObject(session, file, key, options);
        return true;
    } catch (const CError& error) {
        if (!(error.getProps().lookup("s3-code") == "NotImplemented") &&
            !isConflict(error, mark.has_value())) {
            throw;
        }
        session.setFailedRequest(nullptr);
        // A server that knows no conditions, or misreads them.
        if (isConflict(error, mark.has_value()) && !(mark && findMark(key) == *mark)) {
            return false;
        }
    }
    storeObject(session, file, key, makeOptions(std::nullopt));
    return true;
}

/// "" if the object does not exist.
String CS3Store::findMark(const String& key) {
    try {
        const TMap<String, String>& headers =
            m_access.getClient().getObjectHeaders(m_access.getRequest(), m_bucket, key);
        const auto eTag = headers.find("etag");
        return eTag == headers.end() ? String() : makeObjectMark(eTag->second);
    } catch (const CError& error) {
        if (!CS3Client::isNotFoundError(error)) {
            throw;
        }
        return String();
    }
}

void CS3Store::storeObject(CSession& session, const std::filesystem::path& file, const String& key,
                           const CS3PutOptions& options) {
    const P<CFileInStream> stream = new CInterruptibleFile(file);
    if (isStoredAlone(stream->getSize())) {
        CProgress progress(session.getConsole());
        CFileProgress fileProgress(progress, "");
        uploadInParts(m_access, file, makePartedUpload(key, options), fileProgress);
    } else {
        CObjectUpload upload(m_access, stream, m_bucket, key, options);
        runQuietTransfer(session, getPolicy(), upload);
    }
}

bool CS3Store::isChecksum(const String& mark) const {
    return m_access.verifiesETags() && !CS3Client::getContentMD5({{"etag", mark}}).isEmpty();
}

bool CS3Store::hasContent(const String& mark, const std::filesystem::path& relativePath,
                          const std::filesystem::path& file, const std::optional<CFileFacts>& facts) {
    if (isChecksum(mark)) {
        CInterruptibleFile content(file);
        return computeMD5(content) == mark.toLower();
    }
    // Only objects of several parts have this in their ETag.
    if (!facts || mark.find(L'-') == String::npos) {
        return false;
    }
    const TMap<String, String>& headers = m_access.getClient().getObjectHeaders(
        m_access.getRequest(), m_bucket, makeObjectKey(m_prefix, relativePath));
    const auto time = headers.find(String("x-amz-meta-") + timeMetadata);
    return time != headers.end() && time->second == String::fromUTF8(facts->time.toText());
}

std::unique_ptr<IStoreListing> CS3Store::list() {
    return std::make_unique<CListing>(*this);
}

/// A restore finds objects only by the listing.
void CS3Store::checkListing(const String& key) {
    const String problem = findListingProblem(key);
    if (!problem.isEmpty() && !areListingsEncoded()) {
        throw CError(problem);
    }
}

bool CS3Store::areListingsEncoded() {
    if (!m_areListingsEncoded) {
        try {
            m_areListingsEncoded =
                m_access.getClient()
                    .listEncodedObjects(m_access.getRequest(), m_bucket, m_prefix, "", "", 1)
                    ->hasEncodedNames();
        } catch (const CError& error) {
            if (diagnoseS3(error).isHopeless()) {
                throw;
            }
            m_areListingsEncoded = false;
        }
    }
    return *m_areListingsEncoded;
}

/// The path of an object below the folder; nullopt for an object that no backup has made.
std::optional<std::filesystem::path> CS3Store::findRelativePath(const String& key) const {
    try {
        return makeRelativePath(m_prefix, key);
    } catch (const CError&) {
        return std::nullopt;
    }
}

void CS3Store::finishUploads(const CFolderWalker& walker, bool isComplete, const Report& report) {
    CObjectGroups groups([&](const CObjectGroup& group) { handleGroup(walker, isComplete, report, group); });
    CObjectListing objects(m_access, m_bucket, m_prefix);
    try {
        while (const P<CS3ListObjectsElement> object = objects.findNext()) {
            if (findRelativePath(object->getKey())) {
                groups.add(object);
            }
        }
    } catch (const CError& error) {
        // Some keys are only allowed to write.
        if (!diagnoseS3(error).isAccessDenied()) {
            throw;
        }
        m_access.getConsole().message(
            Verbosity::Warning,
            "vexil: warning: the bucket cannot be listed, so this backup does not search for old objects of "
            "files that have become folders, and of folders that have become files");
        return;
    }
    groups.finish();
}

void CS3Store::handleGroup(const CFolderWalker& walker, bool isComplete, const Report& report,
                           const CObjectGroup& group) {
    if (group.below.empty()) {
        return;
    }
    const String& key = group.object->getKey();
    const auto type = walker.findType(*findRelativePath(key));
    if (type == std::filesystem::file_type::directory && isComplete && group.isOutdated()) {
        deleteOutdated(key, report);
    } else {
        report(key, "there are " + formatNumberOf(static_cast<int64>(group.below.size()), "object") +
                        " below '" + printable(key) +
                        "/' as well, and a restore makes only the newer of the two: the file or the folder. "
                        "Delete outdated objects with 'vexil s3 rm'");
    }
    CObjectGroups groups([&](const CObjectGroup& inner) { handleGroup(walker, isComplete, report, inner); });
    for (const P<CS3ListObjectsElement>& object : group.below) {
        groups.add(object);
    }
    groups.finish();
}

void CS3Store::deleteOutdated(const String& key, const Report& report) {
    try {
        m_access.deleteObject(m_bucket, key);
    } catch (const CError& error) {
        if (diagnoseS3(error).isHopeless()) {
            throw;
        }
        report(key, "this is the old object of a file that has become a folder, and it cannot be deleted: " +
                        CErrorReport(error).getLine());
        return;
    }
    m_access.getConsole().message(Verbosity::Warning, "deleted the old object " + printable(key) +
                                                          ": the file has become a folder");
}

void CS3Store::remove(const String& relativeName) {
    if (relativeName.isEmpty()) {
        throw CInvalidArgError("CS3Store::remove", "the name must not be empty");
    }
    m_access.deleteObject(m_bucket, m_prefix + relativeName);
}

}  // namespace vexil::app
