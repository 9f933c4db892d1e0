/// \file
/// Downloads of objects in parts.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentDigest.h"
#include "vexil/s3/S3DownloadResult.h"
#include "vexil/s3/S3DownloadTarget.h"
#include "vexil/s3/S3TransferControl.h"
#include "zet/Mutex.h"

#include <atomic>
#include <functional>
#include <optional>
#include <vector>

namespace vexil {

struct CS3DownloadPart;

/// The object that is read.
struct CS3DownloadSource {
    String bucket;
    String key;
    CS3GetOptions options;
};

/// A download. The first request gets the first part, and with its head size and ETag of the object. All
/// other requests are for this ETag only (If-Match), and begin while the first part is still being read. A
/// part that fails is requested again from where it has ended.
class CS3Download {
public:
    /// The arguments must outlive it.
    CS3Download(CS3Client& client, const CS3TransferSettings& settings, const CS3DownloadSource& source,
                IS3DownloadTarget& target);
    ~CS3Download();
    CS3Download(const CS3Download&) = delete;
    CS3Download& operator=(const CS3Download&) = delete;

    CS3DownloadResult run();

private:
    class CJob;
    class CSink;
    /// What the head of a response tells.
    struct CFacts {
        String eTag;
        int64 size = -1;  // of the object
        TMap<String, String> headers;
        bool hasHeadersOfObject = false;  // not those of a range
    };

    void fetchAll(const CS3PartState& left);
    bool tryToContinue(const CS3PartState& left);
    void confirm();
    void findFacts();
    static CFacts getFacts(const CS3DownloadPart& part);
    CFacts waitForFacts(const CS3DownloadPart& part);
    void handOver(const CS3DownloadPart& part);
    std::optional<CFacts> takeHandedOver();
    void takeFacts(const CFacts& facts);
    void chooseCheck(const CFacts& facts);
    void useDigest(const TMap<String, String>& headers, bool hasChecksums);
    void choosePartSize(const TMap<String, String>& headers);
    TMap<String, String> findChecksums();
    CS3UploadedParts findParts();
    int64 findLengthOfPart(int number);
    void ask(const CS3GetOptions& options, const std::function<void(CNetRequest&)>& onSuccess,
             const std::function<void(const CError&)>& onFailure);
    void verify();
    bool canExplainDifference();
    void start(const P<CS3DownloadPart>& part);
    void settle();
    void finishAll();

    P<CS3DownloadPart> makePart(int64 number);
    int64 getPartCount() const noexcept;
    CS3GetOptions makePinnedOptions(const String& eTag) const;
    bool asksForChecksum() const noexcept;
    void prepare(CNetRequest& request, CS3DownloadPart& part);
    void checkResponse(CNetRequest& request, CS3DownloadPart& part) const;
    bool canFallBack(CS3DownloadPart& part, const CError& error);
    CError makeChangedError() const;

    CTransferQueue& getQueue();

    CS3Client& m_client;
    const CS3TransferSettings& m_settings;
    const CS3DownloadSource& m_source;
    IS3DownloadTarget& m_target;
    const CS3TransferControl m_control;
    int64 m_partSize;
    String m_eTag;
    int64 m_size = -1;  // until it is known
    bool m_isContinuing = false;
    bool m_isConfirmed = false;
    bool m_isStale = false;
    CS3ContentDigest m_digest;
    int64 m_resumedBytes = 0;
    std::atomic<int64> m_doneBytes{0};
    int m_running = 0;
    std::vector<int64> m_fetched;  // since the last settle()
    zet::CMutex m_factsMutex;
    // From the worker, once; only of an object that has more than one part.
    std::optional<CFacts> m_handedOver ZET_GUARDED_BY(m_factsMutex);
    P<CTransferQueue> m_queue;  // last: its worker uses the other members
};

}  // namespace vexil
