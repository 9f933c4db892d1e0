#include "apps/vexil/s3/ObjectDeletion.h"

#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3SigningDetour.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace vexil::app {

namespace {

/// Whether the server has refused a request for several objects, because it does not know the operation or
/// does not allow it. Each object may still be deleted, or the error of the object tells more.
bool isRefusedBatch(const CError& error) {
    return getHTTPStatusCodeFromError(error) >= 300 && !isTransientError(error);
}

/// The positions of the objects that were not deleted. All of them, if nobody knows which one an error means.
std::set<std::size_t> findLeft(const TArray<String>& keys, const CS3DeleteResult& result) {
    std::set<std::size_t> left;
    if (result.getErrors().empty()) {
        return left;
    }
    std::map<String, std::size_t> positions;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        positions[keys[i]] = i;
    }
    for (const CS3DeleteError& error : result.getErrors()) {
        const auto found = positions.find(error.key);
        if (found == positions.end()) {
            std::transform(positions.begin(), positions.end(), std::inserter(left, left.end()),
                           [](const auto& entry) { return entry.second; });
            return left;
        }
        left.insert(found->second);
    }
    return left;
}

}  // namespace

/// One request. A refusal that asks for another signature is followed.
class CObjectDeletion::CJob : public virtual CBase, public ITransferJob, protected ITransfer {
public:
    /// \param number  of its first object
    CJob(CObjectDeletion& deletion, int64 number) : m_deletion(deletion), m_number(number) {}
    ~CJob() override = default;

    ITransfer& getTransfer() override { return *this; }
    void onAttach(CNetRequest& request) override { m_request = &request; }
    void onSuccess(CNetRequest&) override {}
    void onFailure(const CError& error) override {
        CInterrupt::throwIfRequested();
        m_deletion.recordFailure(m_number, error, m_request);
    }

protected:
    void prepare(CNetRequest& request) override {
        prepareDeletion(m_deletion.m_access.getClient(), request);
        m_detour.apply(m_deletion.m_access.getClient(), request);
    }
    void checkResponse(CNetRequest& request) override { checkResponseIsComplete(request); }
    bool canFallBack(CNetRequest& request, const CError& error) override {
        return m_detour.find(m_deletion.m_access.getClient(), request, error);
    }

    virtual void prepareDeletion(CS3Client& client, CNetRequest& request) = 0;

    CObjectDeletion& m_deletion;
    const int64 m_number;

private:
    CS3SigningDetour m_detour;
    P<CNetRequest> m_request;
};

class CObjectDeletion::CSingleJob final : public CJob {
public:
    CSingleJob(CObjectDeletion& deletion, const CNumberedKey& object)
        : CJob(deletion, object.number), m_key(object.key) {}

private:
    void prepareDeletion(CS3Client& client, CNetRequest& request) override {
        client.prepareDeleteObjectRequest(request, m_deletion.m_bucket, m_key);
    }

    const String m_key;
};

class CObjectDeletion::CBatchJob final : public CJob {
public:
    CBatchJob(CObjectDeletion& deletion, int64 number, TArray<String> keys)
        : CJob(deletion, number), m_keys(std::move(keys)) {}

    void onSuccess(CNetRequest&) override {
        if (!m_result) {
            refuse();
            return;
        }
        for (const std::size_t position : findLeft(m_keys, *m_result)) {
            m_deletion.m_left.push_back({m_number + static_cast<int64>(position), m_keys[position]});
        }
    }
    void onFailure(const CError& error) override {
        if (isRefusedBatch(error)) {
            refuse();
        } else {
            CJob::onFailure(error);
        }
    }

private:
    void prepareDeletion(CS3Client& client, CNetRequest& request) override {
        client.prepareDeleteObjectsRequest(request, m_deletion.m_bucket, m_keys, S3DeleteMode::Quiet);
    }
    void checkResponse(CNetRequest& request) override {
        CJob::checkResponse(request);
        try {
            m_result = make<CS3DeleteResult>(request.getDefaultReceiveBuffer());
        } catch (const CS3Error&) {
            m_result = nullptr;  // a refusal inside a success
        }
    }
    void refuse() {
        m_deletion.m_deletesBatches = false;
        m_deletion.deleteSingly(m_number, m_keys);
    }

    const TArray<String> m_keys;
    P<CS3DeleteResult> m_result;
};

CObjectDeletion::CObjectDeletion(CS3Access& access, const String& bucket, int jobs)
    : m_access(access), m_bucket(bucket), m_queue(access.getSession(), access.getPolicy(), jobs) {}

CObjectDeletion::~CObjectDeletion() = default;

void CObjectDeletion::add(const String& key) {
    const int64 number = m_count++;
    if (!m_deletesBatches || !CS3Client::isKeyForXML(key)) {
        beginSingle({number, key});
        return;
    }
    if (m_batch.empty()) {
        m_batchNumber = number;
    }
    m_batch.push_back(key);
    if (m_batch.size() == maxKeysOfBatch) {
        beginBatch();
    }
}

void CObjectDeletion::finish() {
    beginBatch();
    finishBegun();
}

void CObjectDeletion::finishBegun() {
    do {
        beginLeft();
        m_queue.finish();
        throwFailure();
    } while (!m_left.empty());
}

void CObjectDeletion::beginBatch() {
    // First, because they may be as many as the keys of all running requests.
    beginLeft();
    TArray<String> keys = std::exchange(m_batch, {});
    if (m_deletesBatches && keys.size() > 1) {
        begin(make<CBatchJob>(*this, m_batchNumber, std::move(keys)));
    } else {
        deleteSingly(m_batchNumber, keys);
        beginLeft();
    }
}

void CObjectDeletion::beginSingle(const CNumberedKey& object) {
    begin(make<CSingleJob>(*this, object));
}

void CObjectDeletion::beginLeft() {
    while (!m_left.empty()) {
        const CNumberedKey object = std::move(m_left.front());
        m_left.pop_front();
        beginSingle(object);
    }
}

void CObjectDeletion::begin(const P<ITransferJob>& job) {
    m_queue.start(job);
    if (m_failure) {
        m_queue.finish();
        throwFailure();
    }
}

void CObjectDeletion::throwFailure() {
    if (m_failure) {
        m_access.getSession().setFailedRequest(m_failedRequest);
        m_failure->throwClone();
    }
}

void CObjectDeletion::deleteSingly(int64 firstNumber, const TArray<String>& keys) {
    for (const String& key : keys) {
        m_left.push_back({firstNumber++, key});
    }
}

void CObjectDeletion::recordFailure(int64 number, const CError& error, CNetRequest* request) {
    if (!m_failure || number < m_failedNumber) {
        m_failure = error.clone();
        m_failedRequest = request;
        m_failedNumber = number;
    }
}

}  // namespace vexil::app
