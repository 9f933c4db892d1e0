#include "apps/vexil/s3/S3BackupStore.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/s3/ObjectKey.h"
#include "apps/vexil/s3/ObjectListing.h"
#include "apps/vexil/s3/ObjectUpload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/transfer/AnswerCheck.h"

namespace vexil::app {

namespace {

constexpr const char* contentType = "application/octet-stream";

/// The path of an object below the folder; nullopt for an object that no backup has made.
std::optional<std::filesystem::path> findRelativePath(const String& prefix, const String& key) {
    try {
        return makeRelativePath(prefix, key);
    } catch (const CError&) {
        return std::nullopt;
    }
}

}  // namespace

CS3BackupStore::CS3BackupStore(CS3Access& access, const String& bucket, const String& prefix)
    : m_access(access), m_bucket(bucket), m_prefix(makeFolderPrefix(prefix)) {}

ITransferPolicy& CS3BackupStore::getPolicy() {
    return m_access.getPolicy();
}

std::unique_ptr<ITransfer> CS3BackupStore::makeUpload(const P<CFileInStream>& file,
                                                      const std::filesystem::path&,
                                                      const std::filesystem::path& relativePath) {
    const String key = makeObjectKey(m_prefix, relativePath);
    checkListing(key);
    return std::make_unique<CObjectUpload>(m_access, file, m_bucket, key, contentType);
}

/// A restore finds objects only by the listing.
void CS3BackupStore::checkListing(const String& key) {
    const String problem = findListingProblem(key);
    if (!problem.isEmpty() && !areListingsEncoded()) {
        throw CError(problem);
    }
}

bool CS3BackupStore::areListingsEncoded() {
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

void CS3BackupStore::finish(const CFolderWalker& walker, bool isComplete, const Report& report) {
    CObjectGroups groups([&](const CObjectGroup& group) { handleGroup(walker, isComplete, report, group); });
    CObjectListing objects(m_access, m_bucket, m_prefix);
    try {
        while (const P<CS3ListObjectsElement> object = objects.findNext()) {
            if (findRelativePath(m_prefix, object->getKey())) {
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

void CS3BackupStore::handleGroup(const CFolderWalker& walker, bool isComplete, const Report& report,
                                 const CObjectGroup& group) {
    if (group.below.empty()) {
        return;
    }
    const String& key = group.object->getKey();
    const auto type = walker.findType(*findRelativePath(m_prefix, key));
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

void CS3BackupStore::deleteOutdated(const String& key, const Report& report) {
    try {
        m_access.getClient().deleteObject(m_access.getRequest(), m_bucket, key);
        checkAnswerIsComplete(m_access.getRequest());
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

}  // namespace vexil::app
