#include "vexil/s3/S3UploadStreams.h"

#include "zet/FileInStream.h"
#include "zet/StreamRange.h"

namespace vexil {

namespace {

class CSharedRange : public virtual CBase, public zet::IInStream {
public:
    CSharedRange(const P<CS3SharedSource>& source, int64 offset) : m_source(source), m_position(offset) {}

    [[nodiscard]] int read(void* buffer, int maxLength) override {
        const int length = m_source->read(m_position, buffer, maxLength);
        m_position += length;
        return length;
    }
    int64 getSize() override { return -1; }
    void seek(int64 position) override { m_position = position; }
    int64 getPosition() override { return m_position; }

private:
    const P<CS3SharedSource> m_source;
    int64 m_position;
};

}  // namespace

CS3CountedStream::~CS3CountedStream() = default;

int CS3CountedStream::read(void* buffer, int maxLength) {
    const int length = m_stream->read(buffer, maxLength);
    countTo(m_stream->getPosition());
    return length;
}

void CS3CountedStream::seek(int64 position) {
    m_stream->seek(position);
    countTo(position);
}

void CS3CountedStream::countTo(int64 position) noexcept {
    if (m_isSending) {
        m_count->add(position - m_counted);
        m_counted = position;
    }
}

void CS3CountedStream::takeBack() noexcept {
    countTo(0);
    m_isSending = false;
}

int CS3SharedSource::read(int64 position, void* buffer, int maxLength) {
    const zet::CMutexLock lock(m_mutex);
    m_stream->seek(m_start + position);
    return m_stream->read(buffer, maxLength);
}

P<zet::IInStream> openSharedRange(const P<CS3SharedSource>& source, int64 offset, int64 size) {
    return zet::make<zet::CStreamRange>(zet::make<CSharedRange>(source, offset), size);
}

P<zet::IInStream> openFileRange(const std::filesystem::path& path, int64 offset, int64 size) {
    const P<zet::CFileInStream> file = zet::make<zet::CFileInStream>(path);
    file->seek(offset);
    return zet::make<zet::CStreamRange>(file, size);
}

}  // namespace vexil
