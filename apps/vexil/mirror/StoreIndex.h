#pragma once

#include "apps/vexil/index/IndexEntry.h"
#include "apps/vexil/mirror/Store.h"
#include "apps/vexil/platform/FileFacts.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexil::app {

class CSession;

/// The index of a backup (docs/index-format.md) in its store: read before the backup, and written after it.
/// Keeps all entries in memory. One thread.
///
/// Other backups may write into the same store meanwhile. The index remains true: of a file that two of them
/// have stored, it says what the store really has, or that this is not known.
class CStoreIndex {
public:
    /// Its name in the store, which no file of a backup with an index may have.
    static constexpr const char* name = ".vexil-index.gz";

    /// Session and store must outlive it.
    CStoreIndex(CSession& session, IStore& store) : m_session(session), m_store(store) {}

    /// Whether times count: otherwise isUnchanged() compares contents, if the store can tell them. Default
    /// true.
    void setUsesTimes(bool usesTimes) { m_usesTimes = usesTimes; }

    /// Lists the store, and reads its index. An index that is damaged is reported, and a new one will replace
    /// it. A store that cannot be listed is reported: then there is no index, and save() does nothing.
    /// \throws the errors of the server; CError for an index of a newer version
    void load();
    /// The same for a command that needs the listing.
    /// \throws also the errors of a store that cannot be listed
    void loadAll();
    /// Whether load() has found nothing but files that can be fetched.
    bool isConsistent() const noexcept { return m_problems.empty(); }
    /// Whether the store has the content of a local file, as far as the index and the store tell: by size and
    /// time, or by its checksum, for which the file is read. If it has, this is noted.
    bool isUnchanged(const std::filesystem::path& relativePath, const std::filesystem::path& file,
                     const CFileFacts& facts);
    /// Notes a file that was stored.
    /// \param facts  from before it was read
    /// \param mark   of the stored file (IUpload::getMark())
    void noteStored(const std::filesystem::path& relativePath, const CFileFacts& facts, const String& mark);
    /// Notes what a local entry is that is not a file.
    /// \param target  of a link
    void note(const std::filesystem::path& relativePath, EntryKind kind, const CFileFacts& facts,
              const std::string& target = {});
    /// What is known of a path.
    struct CKnown {
        std::optional<CEntryFacts> entry;  ///< of the index
        bool isNoted = false;              ///< the entry says what this backup has found or stored
        bool isStored = false;             ///< as a file
        int64 size = 0;                    ///< of the stored file, in bytes
        std::string mark;                  ///< of the stored file
    };
    /// By the paths.
    using Paths = std::map<std::string, CKnown>;

    const Paths& getPaths() const noexcept { return m_paths; }
    /// The target of a link.
    const std::string& getTarget(const std::string& path) const { return m_targets.at(path); }
    /// The names of stored files that cannot be fetched, and the reasons, for display.
    const TArray<String>& getProblems() const noexcept { return m_problems; }
    /// The stored files that this backup has neither found nor stored.
    std::vector<std::filesystem::path> findOthers() const;
    /// The number of files in the store.
    int64 countStored() const;
    /// Whether the store has files below a folder of this path.
    bool hasFilesBelow(const std::filesystem::path& relativePath) const;
    /// Notes that a file was deleted from the store.
    void noteRemoved(const std::filesystem::path& relativePath);
    /// Forgets a link or a folder.
    void forget(const std::string& path);
    /// Forgets links and folders that this backup has not found.
    void forgetOthers();
    /// False if load() could not list the store.
    bool isUsed() const noexcept { return m_isUsed; }
    /// Writes the index if an entry has changed. If another backup has replaced it since load(), adds what
    /// that one knows.
    void save();

    /// Whether the time of a file proves its content: it was not changed in the last two seconds.
    static bool isSettled(const CFileFacts& facts);

    /// Reads the index of a store.
    /// \param file  of this name
    /// \throws the errors of the server; CError if it cannot be read
    static std::vector<CIndexEntry> fetch(CSession& session, IStore& store, const IStoredFile& file);

    /// Fetches one file of a store while no other transfer runs, without progress.
    /// \throws the errors of the server, and of writing the file
    static void fetchFile(const std::filesystem::path& path, CSession& session, IStore& store,
                          const IStoredFile& file);

private:
    static void fetch(CSession& session, IStore& store, const IStoredFile& file,
                      const std::function<void(CIndexEntry&&)>& onEntry);
    void list();
    void readListed();
    void read(const IStoredFile& file);
    void dropMissingFiles();
    bool hasContent(const CKnown& known, const std::filesystem::path& relativePath,
                    const std::filesystem::path& file, const CFileFacts& facts) const;
    void noteEntry(const std::string& path, CEntryFacts entry);
    bool write();
    void takeOver();
    void merge(const Paths& noted, const std::map<std::string, std::string>& targets);

    CSession& m_session;
    IStore& m_store;
    Paths m_paths;
    std::map<std::string, std::string> m_targets;  // of links, by path
    std::optional<String> m_mark;                  // of the index that load() has found
    std::unique_ptr<IStoredFile> m_file;
    bool m_usesTimes = true;
    bool m_hasChanged = false;
    TArray<String> m_problems;
    bool m_isUsed = true;  // false if the store cannot be listed
};

}  // namespace vexil::app
