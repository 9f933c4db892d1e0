#include "apps/vexil/mirror/FileComparer.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/FileInStream.h"

#include <algorithm>

namespace vexil::app {

namespace {

constexpr int blockSize = 64 * 1024;

void readWhole(CFileInStream& stream, char* block, int length) {
    for (int done = 0; done < length;) {
        done += stream.read(block + done, length - done);
    }
}

}  // namespace

CFileComparer::CFileComparer() : m_firstBlock(blockSize), m_secondBlock(blockSize) {}

String CFileComparer::findDifference(const std::filesystem::path& first,
                                     const std::filesystem::path& second) {
    CInterruptibleFile firstStream(first);
    CInterruptibleFile secondStream(second);
    const int64 size = firstStream.getSize();
    if (size != secondStream.getSize()) {
        return "the sizes differ: " + formatCount(size) + " and " +
               formatNumberOf(secondStream.getSize(), "byte");
    }
    for (int64 position = 0; position < size;) {
        const auto length = static_cast<int>(std::min<int64>(blockSize, size - position));
        readWhole(firstStream, m_firstBlock.data(), length);
        readWhole(secondStream, m_secondBlock.data(), length);
        const auto end = m_firstBlock.begin() + length;
        const auto [different, other] = std::mismatch(m_firstBlock.begin(), end, m_secondBlock.begin());
        if (different != end) {
            return "the bytes at offset " + formatCount(position + (different - m_firstBlock.begin())) +
                   " differ";
        }
        position += length;
    }
    return String();
}

}  // namespace vexil::app
