/// \file
/// Where downloads in parts write.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ContentDigest.h"
#include "vexil/s3/S3PartFile.h"
#include "zet/OutStream.h"

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

namespace vexil {

/// Takes the parts of an object. All members are called on the caller's thread; writers on another one.
class IS3DownloadTarget {
public:
    /// Writes the next bytes of a part.
    /// \param offset  from the beginning of the part. Only what was written before may be written again
    using Writer = std::function<void(int64 offset, const void* data, int length)>;

    virtual ~IS3DownloadTarget();

    /// What an earlier download has left.
    virtual CS3PartState findLeft() const = 0;
    /// Forgets that.
    virtual void startOver() = 0;
    /// Makes a writer, at any time.
    virtual Writer openPart(int64 number, int64 offset, int64 maxLength) = 0;
    /// Called when the object is known: a new one, whose first part may be written meanwhile, or that of the
    /// parts that are left.
    /// \param digest         gets all bytes in order
    /// \param checkContinue  called from time to time during long work; may throw
    virtual void begin(const CS3PartState& object, CS3ContentDigest& digest,
                       const std::function<void()>& checkContinue) = 0;
    /// Takes parts that are complete.
    virtual void finishParts(const std::vector<int64>& numbers) = 0;
    /// Gives all bytes to the digest again, after all parts are complete.
    /// \return false if it does not have them any more
    virtual bool readAgain() = 0;
    /// The first part that must not begin yet.
    virtual int64 getLimit() const = 0;
    /// The content was checked.
    virtual void commit(int64 size) = 0;
    /// Another content has been read, or the object has changed.
    virtual void giveUp() noexcept = 0;
};

/// A file: parts are written where they belong.
class CS3FileTarget : public IS3DownloadTarget {
public:
    explicit CS3FileTarget(CS3PartFile& file) : m_file(file) {}

    CS3PartState findLeft() const override { return m_file.getState(); }
    void startOver() override { m_file.startOver(); }
    Writer openPart(int64 number, int64 offset, int64 maxLength) override;
    void begin(const CS3PartState& object, CS3ContentDigest& digest,
               const std::function<void()>& checkContinue) override;
    void finishParts(const std::vector<int64>& numbers) override;
    bool readAgain() override;
    int64 getLimit() const override;
    void commit(int64 size) override { m_file.commit(size); }
    void giveUp() noexcept override { m_file.giveUp(); }

private:
    void readPart(int64 offset, int64 length);

    CS3PartFile& m_file;
    CS3PartState m_object;
    CS3ContentDigest* m_digest = nullptr;
    std::function<void()> m_checkContinue;
    std::size_t m_next = 0;  // the first part whose bytes the digest does not have
};

/// A stream that gets all bytes in order. Parts that are early wait in memory.
class CS3StreamTarget : public IS3DownloadTarget {
public:
    /// \param maxParts  so many parts are in memory, at most
    CS3StreamTarget(zet::IOutStream& stream, int maxParts) : m_stream(stream), m_maxParts(maxParts) {}

    CS3PartState findLeft() const override { return {}; }
    void startOver() override {}
    Writer openPart(int64 number, int64 offset, int64 maxLength) override;
    void begin(const CS3PartState& object, CS3ContentDigest& digest,
               const std::function<void()>& checkContinue) override;
    void finishParts(const std::vector<int64>& numbers) override;
    bool readAgain() override { return false; }
    int64 getLimit() const override { return m_next + m_maxParts; }
    void commit(int64) override {}
    void giveUp() noexcept override {}

private:
    struct CWaiting {
        P<TBuffer<unsigned char>> bytes;
        bool isComplete = false;
    };

    zet::IOutStream& m_stream;
    const int m_maxParts;
    CS3PartState m_object;
    CS3ContentDigest* m_digest = nullptr;
    std::map<int64, CWaiting> m_waiting;
    int64 m_next = 0;
};

}  // namespace vexil
