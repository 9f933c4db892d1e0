/// \file
/// The file in which a download keeps the parts that it has.
#pragma once

#include "vexil/BaseTypes.h"
#include "zet/LockedFile.h"
#include "zet/Mutex.h"

#include <cstddef>
#include <filesystem>
#include <vector>

namespace vexil {

/// Which parts of which object a file has.
struct CS3PartState {
    String eTag;
    int64 size = 0;
    int64 partSize = 0;
    std::vector<bool> done = {};  ///< for each part; empty: nothing is known
};

/// A file that is filled in any order, and appears under its own name when it is complete. Until then its
/// name is ".NAME.vexil-part-" and 16 hexadecimal digits, in the same folder, and only one process has it
/// open.
///
/// After the content it has its state: a byte for each part, and a block of text with ETag and sizes. A part
/// is marked when the disk has its bytes. So a process that is killed leaves a file that another one can
/// continue.
///
/// Errors of the system are a CError with the domain "system" and the `errno` value as its code.
///
/// Thread safety: write() may be called on one other thread, at the same time as begin(), mark() and read().
class CS3PartFile {
public:
    /// Opens the file that an earlier process has left, or creates it.
    /// \param content  identifies the object
    /// \throws CError if the target is not a usual file, or if another process writes the part
    CS3PartFile(const std::filesystem::path& target, const String& content);
    /// Deletes the file, unless it has marked parts, or was committed.
    ~CS3PartFile();
    CS3PartFile(const CS3PartFile&) = delete;
    CS3PartFile& operator=(const CS3PartFile&) = delete;

    /// What an earlier process has left, and what was marked since.
    const CS3PartState& getState() const noexcept { return m_state; }
    /// Forgets everything.
    void startOver();
    /// Sets what is read, before the first mark().
    void begin(const String& eTag, int64 size, int64 partSize);

    void write(int64 offset, const void* data, int length);
    /// \throws CError if the file has become shorter
    void read(int64 offset, void* data, int length);
    /// Waits until the disk has these parts, and marks them.
    void mark(const std::vector<int64>& parts);
    /// The file is complete: it gets its own name, and replaces a file of that name.
    void commit(int64 size);
    /// The file will be deleted: what it has is of no use.
    void giveUp() noexcept { m_state.done.clear(); }

private:
    void open(const String& content);
    void readState();
    bool isStored() const noexcept { return !m_state.done.empty(); }
    void check(const char* what, int systemError) const;

    const std::filesystem::path m_target;
    std::filesystem::path m_part;
    // Windows has one position for reads and writes.
    zet::CMutex m_mutex;
    zet::CLockedFile m_file;
    CS3PartState m_state;
    bool m_hasMarks = false;
};

}  // namespace vexil
