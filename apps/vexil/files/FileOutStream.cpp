#include "apps/vexil/files/FileOutStream.h"

#include "apps/vexil/base/Text.h"

#include <algorithm>
#include <vector>

namespace vexil::app {

namespace {

constexpr std::size_t blockSize = 1 << 18;

}  // namespace

CFileOutStream::CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name)
    : m_file(std::make_shared<CNativeFile>()), m_name(name), m_size(0) {
    check("Cannot create", m_file->open(path));
}

CFileOutStream::CFileOutStream(const std::shared_ptr<CNativeFile>& file, int64 size,
                               const std::filesystem::path& name)
    : m_file(file), m_name(name), m_size(size) {}

CFileOutStream::~CFileOutStream() = default;

void CFileOutStream::write(const void* data, int length) {
    check("Cannot write", m_file->write(data, static_cast<std::size_t>(length)));
    m_position += length;
    m_size = std::max(m_size, m_position);
}

void CFileOutStream::seek(int64 position) {
    check("Cannot seek in", m_file->seek(position));
    m_position = position;
}

void CFileOutStream::keep(int64 size, const std::function<void(const void* data, int length)>& onBlock) {
    seek(0);
    std::vector<char> block(blockSize);
    while (m_position < size) {
        std::size_t count = 0;
        const auto wanted = static_cast<std::size_t>(std::min<int64>(size - m_position, blockSize));
        check("Cannot read", m_file->read(block.data(), wanted, count));
        if (count == 0) {
            throw CError("The file '" + describe(m_name) + "' became shorter while it was read.", "system");
        }
        onBlock(block.data(), static_cast<int>(count));
        m_position += static_cast<int64>(count);
    }
    check("Cannot write", m_file->truncate(size));
    m_size = size;
}

void CFileOutStream::close() {
    check("Cannot write", m_file->close());
}

void CFileOutStream::check(const char* what, int systemError) const {
    if (systemError != 0) {
        throw CError(String(what) + " the file '" + describe(m_name) +
                         "': " + describeSystemError(systemError),
                     "system", systemError);
    }
}

}  // namespace vexil::app
