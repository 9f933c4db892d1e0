#pragma once

#include "vexil/async/TransferQueue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3TransferControl.h"
#include "vexil/s3/S3UploadResult.h"
#include "vexil/s3/S3UploadStreams.h"

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace vexil {

/// The object that an upload makes.
struct CS3UploadTarget {
    String bucket;
    String key;
    CS3PutOptions options;
};

/// One upload of CS3TransferManager, by one PUT or in parts. All requests go through a CTransferQueue.
///
/// The members throw the errors of the queue. One thread at a time.
class CS3Upload {
public:
    /// Opens the bytes of a part. Called on the caller's thread before each try.
    using Open = std::function<P<zet::IInStream>()>;

    /// \param client    must outlive this object
    /// \param settings  must outlive this object
    /// \param size      of the object; -1 if it is unknown
    CS3Upload(CS3Client& client, const CS3TransferSettings& settings, CS3UploadTarget target, int64 size);
    CS3Upload(const CS3Upload&) = delete;
    CS3Upload& operator=(const CS3Upload&) = delete;

    /// Stores the whole object by one PUT.
    CS3UploadResult storeWhole(int64 size, const Open& open);
    /// Stores the object in parts, which `sendParts` sends. After a failure the parts are deleted, unless
    /// they are to be kept.
    CS3UploadResult storeInParts(const std::function<void()>& sendParts);

    /// Must be called before the parts are sent: how many of them at once.
    void setParallelParts(int count);
    /// Keeps the parts after a failure.
    void keepParts(bool keeps) noexcept { m_keepsParts = keeps; }
    /// Called with the ID of the upload when it has begun.
    void setBegunHandler(std::function<void(const String& uploadId)> handler) {
        m_onBegun = std::move(handler);
    }
    /// Resumes this upload: storeInParts() begins no new one.
    void resume(const String& uploadId) { m_uploadId = uploadId; }

    /// What is known of stored bytes. "" if something is unknown.
    struct CContent {
        String eTag;
        String md5;             ///< in hexadecimal digits
        String checksum;        ///< of the bytes that were sent, in base64
        String storedChecksum;  ///< as the service has returned it
    };

    bool hasPart(int number) const { return m_parts.contains(number); }
    /// Begins to send a part, and returns when another one could begin.
    void sendPart(int number, int64 size, const Open& open);
    /// A part that the service has already.
    void addPart(int number, int64 size, const CContent& content);
    /// The kind of the checksums.
    S3Checksum getChecksum() const noexcept { return m_target.options.checksum; }
    /// Returns when all parts are sent.
    void finishParts();

    /// Whether the service has the object that the parts would make.
    /// \return its ETag, "" if the object is another one, or that cannot be found out
    String findStoredETag();

    /// The result of an upload that consists of these parts.
    CS3UploadResult makeResult(const String& eTag) const;

    /// \throws CCURLError if the upload is cancelled, or its deadline has passed
    void checkContinue() const { m_control.checkContinue(); }

private:
    class CJob;
    struct CSteps;
    void begin();
    String complete();
    CS3UploadResult checkObject(const String& completedETag);
    void checkStoredETag(const String& eTag) const;
    void checkStoredChecksum() const;
    void giveUp() noexcept;
    void deleteParts() noexcept;

    void run(const CSteps& steps);
    void runBriefly(const CSteps& steps);
    CTransferQueue& getQueue();
    CSteps makeSendSteps(const Open& open, const std::function<void(CNetRequest&, zet::IInStream*)>& prepare,
                         const std::function<void(const CContent&)>& onStored);
    void checkETag(CNetRequest& request) const;
    String makeExpectedETag() const;
    void prepareHead(CNetRequest& request);

    CS3Client& m_client;
    const CS3TransferSettings& m_settings;
    const CS3UploadTarget m_target;
    const int64 m_size;
    const CS3TransferControl m_control;
    int m_parallelParts;
    bool m_keepsParts = false;
    std::function<void(const String&)> m_onBegun;
    P<CS3RequestPolicy> m_policy;  // of the queue
    P<CTransferQueue> m_queue;     // null until it is needed, and after a failure
    const P<CS3ByteCount> m_count = zet::make<CS3ByteCount>();
    String m_uploadId;
    std::map<int, CContent> m_parts;
    String m_completedChecksum;
    int64 m_storedBytes = 0;
};

}  // namespace vexil
