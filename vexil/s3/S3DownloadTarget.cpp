#include "vexil/s3/S3DownloadTarget.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

constexpr int readSize = 1 << 18;

}  // namespace

IS3DownloadTarget::~IS3DownloadTarget() = default;

// ---- files -----------------------------------------------------------------------------------------------

IS3DownloadTarget::Writer CS3FileTarget::openPart(int64, int64 offset, int64) {
    return [this, offset](int64 position, const void* data, int length) {
        m_file.write(offset + position, data, length);
    };
}

void CS3FileTarget::begin(const CS3PartState& object, CS3ContentDigest& digest,
                          const std::function<void()>& checkContinue) {
    m_object = object;
    m_digest = &digest;
    m_checkContinue = checkContinue;
    m_next = 0;
    if (m_object.done.empty()) {
        const int64 parts = (object.size + object.partSize - 1) / object.partSize;
        m_object.done.assign(static_cast<std::size_t>(parts), false);
        m_file.begin(object.eTag, object.size, object.partSize);
    }
}

void CS3FileTarget::finishParts(const std::vector<int64>& numbers) {
    if (!numbers.empty()) {
        m_file.mark(numbers);
    }
    for (const int64 number : numbers) {
        m_object.done[static_cast<std::size_t>(number)] = true;
    }
    for (; m_next < m_object.done.size() && m_object.done[m_next]; ++m_next) {
        const int64 offset = static_cast<int64>(m_next) * m_object.partSize;
        readPart(offset, std::min(m_object.partSize, m_object.size - offset));
    }
}

void CS3FileTarget::readPart(int64 offset, int64 length) {
    if (m_digest->getCheck() == S3ContentCheck::None) {
        return;
    }
    std::vector<char> block(readSize);
    while (length > 0) {
        m_checkContinue();
        const int count = static_cast<int>(std::min<int64>(length, readSize));
        m_file.read(offset, block.data(), count);
        m_digest->update(block.data(), count);
        offset += count;
        length -= count;
    }
}

bool CS3FileTarget::readAgain() {
    readPart(0, m_object.size);
    return true;
}

int64 CS3FileTarget::getLimit() const {
    return std::numeric_limits<int64>::max();
}

// ---- streams ---------------------------------------------------------------------------------------------

IS3DownloadTarget::Writer CS3StreamTarget::openPart(int64 number, int64, int64 maxLength) {
    const P<TBuffer<unsigned char>> bytes = make<TBuffer<unsigned char>>();
    bytes->reserve(static_cast<int>(maxLength));
    m_waiting[number] = {bytes, false};
    return [bytes](int64 position, const void* data, int length) {
        bytes->setUsed(static_cast<int>(position));
        bytes->append(static_cast<const unsigned char*>(data), length);
    };
}

void CS3StreamTarget::begin(const CS3PartState& object, CS3ContentDigest& digest,
                            const std::function<void()>&) {
    m_object = object;
    m_digest = &digest;
}

void CS3StreamTarget::finishParts(const std::vector<int64>& numbers) {
    for (const int64 number : numbers) {
        m_waiting.at(number).isComplete = true;
    }
    while (!m_waiting.empty() && m_waiting.begin()->first == m_next && m_waiting.begin()->second.isComplete) {
        const P<TBuffer<unsigned char>> bytes = m_waiting.begin()->second.bytes;
        m_waiting.erase(m_waiting.begin());
        ++m_next;
        m_digest->update(bytes->getData(), bytes->getUsed());
        m_stream.write(bytes->getData(), bytes->getUsed());
    }
}

}  // namespace vexil
