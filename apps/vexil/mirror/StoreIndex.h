#pragma once

#include "apps/vexil/index/IndexEntry.h"
#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/platform/FileFacts.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vexil::app {

class CSession;

/// The index of a backup (docs/index-format.md) in its store: read before the backup, and written after it.
/// Keeps all entries in memory. One thread.
class CStoreIndex {
public:
    /// Its name in the store, which no file of a backup with an index may have.
    static constexpr const char* name = ".vexil-index.gz";

    /// Session and store must outlive it.
    CStoreIndex(CSession& session, IStore& store) : m_session(session), m_store(store) {}

    /// Lists the store, and reads its index. An index that is damaged is reported, and a new one will replace
    /// it. A store that cannot be listed is reported: then there is no index, and save() does nothing.
    /// \throws the errors of the server; CError for an index of a newer version
    void load();
    /// Whether load() has found nothing but files that can be fetched.
    bool isConsistent() const noexcept { return m_isConsistent; }
    /// Whether the store has a file with the content of a local file, as far as size and time tell.
    bool isUnchanged(const std::filesystem::path& relativePath, const CFileFacts& facts) const;
    /// Notes what a local entry is now.
    void note(const std::filesystem::path& relativePath, EntryKind kind, const CFileFacts& facts,
              const std::string& target = {});
    /// Writes the index if an entry has changed.
    void save();

    /// Reads the index of a store.
    /// \param file  of this name
    /// \throws the errors of the server; CError if it cannot be read
    static std::vector<CIndexEntry> fetch(CSession& session, IStore& store, const IStoredFile& file);

private:
    void list();
    void read(const IStoredFile& file);
    void dropMissingFiles();

    CSession& m_session;
    IStore& m_store;
    std::map<std::string, int64> m_sizes;          // of the files in the store, by path
    std::map<std::string, CIndexEntry> m_entries;  // by path
    std::unique_ptr<IStoredFile> m_file;           // null if the store has none
    bool m_hasChanged = false;
    bool m_isConsistent = true;
    bool m_isUsed = true;  // false if the store cannot be listed
};

}  // namespace vexil::app
