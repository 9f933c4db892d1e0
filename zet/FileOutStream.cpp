#include "zet/FileOutStream.h"

#include "zet/DisplayText.h"
#include "zet/InvalidArgError.h"

#include <algorithm>

namespace zet {

CFileOutStream::CFileOutStream(const std::filesystem::path& path) : CFileOutStream(path, path) {}

CFileOutStream::CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name)
    : m_file(std::make_shared<CNativeFile>()), m_name(name), m_size(0) {
    check("Cannot create", m_file->openForWriting(path));
}

CFileOutStream::CFileOutStream(const std::shared_ptr<CNativeFile>& file, int64 size,
                               const std::filesystem::path& name)
    : m_file(file), m_name(name), m_size(size) {
    if (!file) {
        throw CInvalidArgError("CFileOutStream", "file must not be null");
    }
}

CFileOutStream::~CFileOutStream() = default;

void CFileOutStream::write(const void* data, int length) {
    if (length <= 0) {
        return;
    }
    if (const int failure = m_file->write(data, static_cast<std::size_t>(length))) {
        // Some bytes may be written. The original error is reported, not that of going back.
        static_cast<void>(m_file->seek(m_position));
        check("Cannot write", failure);
    }
    m_position += length;
    m_size = std::max(m_size, m_position);
}

void CFileOutStream::seek(int64 position) {
    check("Cannot seek in", m_file->seek(position));
    m_position = position;
}

void CFileOutStream::close() {
    if (const int failure = m_file->close()) {
        m_closeError = failure;
    }
    check("Cannot write", m_closeError);
}

void CFileOutStream::setPositionAndSize(int64 position, int64 size) noexcept {
    m_position = position;
    m_size = size;
}

void CFileOutStream::check(const char* what, int systemError) const {
    if (systemError != 0) {
        throw CError(String(what) + " the file '" + toDisplayPath(m_name) +
                         "': " + describeSystemError(systemError),
                     "system", systemError);
    }
}

}  // namespace zet
