#pragma once

#include "apps/vexil/transfer/SessionQueue.h"
#include "vexil/BaseTypes.h"

#include <cstddef>
#include <deque>

namespace vexil::app {

class CS3Access;

/// Deletes many objects of a bucket, which may be missing: in batches if the server allows it, otherwise one
/// by one, several requests at once. Keeps at most the keys of one batch more than requests run at once.
///
/// An object that the server does not delete with its batch is deleted alone, which tells why it fails. After
/// a failure nothing more is begun.
class CObjectDeletion {
public:
    /// As many objects as a server deletes with one request.
    static constexpr std::size_t maxKeysOfBatch = 1000;

    /// The access must outlive it.
    /// \param jobs  how many requests run at once, at most
    CObjectDeletion(CS3Access& access, const String& bucket, int jobs);
    CObjectDeletion(const CObjectDeletion&) = delete;
    CObjectDeletion& operator=(const CObjectDeletion&) = delete;
    /// Gives up the requests that have not ended.
    ~CObjectDeletion();

    /// Takes an object. It is deleted when its batch is full, or by finish().
    /// \throws "Interrupted." (CInterrupt); when the running requests have ended, the error of the first
    ///         object that could not be deleted
    void add(const String& key);
    /// Returns when all objects are deleted.
    /// \throws the same
    void finish();
    /// Returns when all batches that were begun are deleted. The objects of the next batch stay.
    /// \throws the same
    void finishBegun();
    /// How many objects were taken.
    int64 getCount() const noexcept { return m_count; }

private:
    class CJob;
    class CBatchJob;
    class CSingleJob;
    /// An object, and its number in the order of add().
    struct CNumberedKey {
        int64 number;
        String key;
    };

    void beginBatch();
    void beginSingle(const CNumberedKey& object);
    void beginLeft();
    void begin(const P<ITransferJob>& job);
    void throwFailure();
    void deleteSingly(int64 firstNumber, const TArray<String>& keys);
    void recordFailure(int64 number, const CError& error, CNetRequest* request);

    CS3Access& m_access;
    String m_bucket;
    int64 m_count = 0;
    TArray<String> m_batch;           // the next one
    int64 m_batchNumber = 0;          // of its first object
    std::deque<CNumberedKey> m_left;  // objects that no batch has deleted
    bool m_deletesBatches = true;     // until the server has refused one
    P<CError> m_failure;              // of the first object that could not be deleted
    P<CNetRequest> m_failedRequest;   // its request
    int64 m_failedNumber = 0;
    CSessionQueue m_queue;  // last, because its jobs use the other members
};

}  // namespace vexil::app
