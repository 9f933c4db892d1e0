#include "apps/vexil/s3/PartedUpload.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/s3/PartedProgress.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/UploadState.h"
#include "apps/vexil/transfer/SessionQueue.h"
#include "vexil/s3/S3TransferManager.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>

namespace vexil::app {

namespace {

class CUploadProgress : public CPartedProgress {
public:
    using CPartedProgress::CPartedProgress;

    void onUploadBegun(const String& resumeToken) override {
        if (onBegun) {
            onBegun(resumeToken);
        }
    }

    std::function<void(const String& resumeToken)> onBegun;
};

CS3TransferSettings makeSettings(CS3Access& access, const CPartedUpload& upload,
                                 const P<CUploadProgress>& progress) {
    CS3TransferSettings settings;
    settings.parallelParts = upload.jobs;
    settings.partSize = upload.partSize;
    settings.observer = progress;
    settings.requestObserver = makeSessionObserver(access.getSession());
    settings.retryPolicy = access.getRetryPolicy();
    settings.verifiesETags = access.verifiesETags();
    settings.uploadCheck = upload.check;
    settings.storesPartSize = true;
    return settings;
}

std::string makeIdentity(CS3Access& access, const std::filesystem::path& file, const CPartedUpload& upload) {
    const std::u8string path = std::filesystem::absolute(file).generic_u8string();
    std::string text = std::string(path.begin(), path.end());
    const auto add = [&text](const String& part) { text += '\0' + part.toUTF8(); };
    add(access.getClient().getBaseURL());
    add(upload.bucket);
    add(upload.key);
    // They belong to the beginning of an upload.
    add(upload.options.contentType);
    add(upload.options.storageClass);
    for (const auto& [name, value] : upload.options.metadata) {
        // With another time the file has changed. That is noticed by itself, and the parts are deleted.
        if (!(name == timeMetadata)) {
            add(name);
            add(value);
        }
    }
    return text;
}

/// Why an upload must begin again; "" for an error that says nothing about that.
String findReasonToBeginAgain(const CError& error) {
    if (error.getProps().lookup("s3-code") == "NoSuchUpload") {
        return "the server has deleted its parts";
    }
    if (dynamic_cast<const CInvalidArgError*>(&error)) {
        return "its state is damaged";
    }
    const bool isFromServer = error.getDomain() == "http" || CS3Client::isPreconditionFailed(error);
    return error.getKind() == ErrorKind::Conflict && !isFromServer ? String("the file has changed since")
                                                                   : String();
}

/// \return false if the server may still have parts
bool discard(CS3TransferManager& manager, const String& token) {
    try {
        manager.discardUpload(token);
        return true;
    } catch (const CError&) {
        return false;
    }
}

/// \return nullopt if the upload must begin again
std::optional<CS3UploadResult> resume(CS3TransferManager& manager, const CUploadState& state,
                                      const std::filesystem::path& file, const CPartedUpload& upload,
                                      CConsole& console) {
    const String token = state.find();
    if (token.isEmpty()) {
        return std::nullopt;
    }
    console.message(Verbosity::Info, "vexil: continuing an earlier upload.");
    try {
        return manager.resumeUpload(token, file, upload.options);
    } catch (const CError& error) {
        const String reason = findReasonToBeginAgain(error);
        if (reason.isEmpty()) {
            throw;
        }
        String text =
            "vexil: warning: the earlier upload cannot be continued (" + reason + "); it begins again.";
        if (!discard(manager, token)) {
            text += " Parts that the server may still have are deleted by: vexil s3 uploads abort";
        }
        console.message(Verbosity::Warning, text);
    }
    return std::nullopt;
}

CS3UploadResult storeOrResume(CS3TransferManager& manager, const CUploadState& state,
                              const std::filesystem::path& file, const CPartedUpload& upload,
                              CConsole& console) {
    try {
        if (const auto result = resume(manager, state, file, upload, console)) {
            return *result;
        }
        // A failure must come before anything is sent.
        state.store(String());
        return manager.uploadFile(file, upload.bucket, upload.key, upload.options);
    } catch (...) {
        if (!manager.getResumeToken().isEmpty()) {
            console.message(
                Verbosity::Warning,
                "vexil: the parts that were sent are kept; the same command continues the upload.");
        }
        if (state.find().isEmpty()) {
            state.remove();
        }
        throw;
    }
}

}  // namespace

String uploadInParts(CS3Access& access, const std::filesystem::path& file, const CPartedUpload& upload,
                     CFileProgress& progress) {
    CS3TransferManager manager(access.getClient(),
                               makeSettings(access, upload, make<CUploadProgress>(progress)));
    const CS3UploadResult result = manager.uploadFile(file, upload.bucket, upload.key, upload.options);
    progress.complete(result.size);
    return result.eTag;
}

String uploadInPartsOrResume(CS3Access& access, const std::filesystem::path& file,
                             const CPartedUpload& upload, CFileProgress& progress) {
    const CUploadState state(makeIdentity(access, file, upload));
    const P<CUploadProgress> observer = make<CUploadProgress>(progress);
    observer->onBegun = [&state](const String& resumeToken) { state.store(resumeToken); };
    CS3TransferSettings settings = makeSettings(access, upload, observer);
    settings.keepsForResume = true;
    CS3TransferManager manager(access.getClient(), settings);
    const CS3UploadResult result = storeOrResume(manager, state, file, upload, access.getConsole());
    state.remove();
    progress.complete(result.size);
    return result.eTag;
}

void uploadStream(CS3Access& access, zet::IInStream& stream, const CPartedUpload& upload,
                  CFileProgress& progress) {
    CS3TransferManager manager(access.getClient(),
                               makeSettings(access, upload, make<CUploadProgress>(progress)));
    progress.complete(manager.uploadStream(&stream, upload.bucket, upload.key, upload.options).size);
}

}  // namespace vexil::app
