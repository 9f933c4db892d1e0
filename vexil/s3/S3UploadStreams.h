/// \file
/// Where the parts of an upload get their bytes from.
#pragma once

#include "vexil/BaseTypes.h"
#include "zet/InStream.h"
#include "zet/Mutex.h"

#include <atomic>
#include <filesystem>

namespace vexil {

/// How many bytes of an upload were sent. Any thread.
class CS3ByteCount : public virtual CBase {
public:
    void add(int64 count) noexcept { m_bytes += count; }
    int64 get() const noexcept { return m_bytes; }

private:
    std::atomic<int64> m_bytes{0};
};

/// Counts what is read of a stream after beginSending(). Bytes that are read again count once.
class CS3CountedStream : public virtual CBase, public zet::IInStream {
public:
    /// \param stream  at its beginning
    CS3CountedStream(zet::IInStream* stream, CS3ByteCount* count) : m_stream(stream), m_count(count) {}
    ~CS3CountedStream() override;

    /// Called after the preparation, which may have read the stream for a hash.
    void beginSending() noexcept { m_isSending = true; }
    /// Takes all bytes off the count, after the transfer has ended.
    void takeBack() noexcept;

    [[nodiscard]] int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_stream->getSize(); }
    void seek(int64 position) override;
    int64 getPosition() override { return m_stream->getPosition(); }

private:
    void countTo(int64 position) noexcept;

    const P<zet::IInStream> m_stream;
    const P<CS3ByteCount> m_count;
    bool m_isSending = false;
    int64 m_counted = 0;
};

/// A stream that several threads read at different positions.
class CS3SharedSource : public virtual CBase {
public:
    /// \param stream  able to seek
    explicit CS3SharedSource(zet::IInStream* stream) : m_stream(stream), m_start(stream->getPosition()) {}

    /// \param position  counts from the position of the stream at construction
    int read(int64 position, void* buffer, int maxLength);

private:
    zet::CMutex m_mutex;
    const P<zet::IInStream> m_stream ZET_GUARDED_BY(m_mutex);
    const int64 m_start;
};

/// A range of a shared stream, which throws a CError if the stream ends within it.
P<zet::IInStream> openSharedRange(const P<CS3SharedSource>& source, int64 offset, int64 size);

/// A range of a file, opened on its own, which throws a CError if the file ends within it.
P<zet::IInStream> openFileRange(const std::filesystem::path& path, int64 offset, int64 size);

}  // namespace vexil
