#include "apps/vexil/files/PartStream.h"

#include "apps/vexil/base/Text.h"

#include <algorithm>
#include <vector>

namespace vexil::app {

namespace {

constexpr std::size_t blockSize = 1 << 18;

}  // namespace

void CPartStream::keep(int64 size, const std::function<void(const void* data, int length)>& onBlock) {
    seek(0);
    std::vector<char> block(blockSize);
    while (getPosition() < size) {
        const int length = readBlock(block.data(), std::min<int64>(size - getPosition(), blockSize));
        onBlock(block.data(), length);
        setPositionAndSize(getPosition() + length, getSize());
    }
    check("Cannot write", getFile().truncate(size));
    setPositionAndSize(getPosition(), size);
}

int CPartStream::readBlock(char* block, int64 wanted) {
    std::size_t count = 0;
    check("Cannot read", getFile().read(block, static_cast<std::size_t>(wanted), count));
    if (count == 0) {
        throw CError("The file '" + describe(getName()) + "' became shorter while it was read.", "system");
    }
    return static_cast<int>(count);
}

}  // namespace vexil::app
