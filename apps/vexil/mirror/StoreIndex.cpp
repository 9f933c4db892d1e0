#include "apps/vexil/mirror/StoreIndex.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/TemporaryFolder.h"
#include "apps/vexil/index/IndexError.h"
#include "apps/vexil/index/IndexReader.h"
#include "apps/vexil/index/IndexWriter.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "zet/FileOutStream.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

// Another change within this time may leave size and time as they are: some file systems count in 2 s.
constexpr int64 settlingSeconds = 2;
// Each try reads the index that another backup has written meanwhile.
constexpr int maxTriesToWrite = 10;

CEntryFacts makeEntry(EntryKind kind, const CFileFacts& facts) {
    CEntryFacts entry;
    entry.kind = kind;
    entry.size = facts.size;
    entry.time = facts.time;
    entry.mode = facts.mode;
    return entry;
}

void transferAlone(CSession& session, const std::function<void(CFileProgress&)>& transfer) {
    CProgress progress(session.getConsole());
    CFileProgress file(progress, "");
    transfer(file);
}

}  // namespace

void CStoreIndex::fetchFile(const fs::path& path, CSession& session, IStore& store, const IStoredFile& file) {
    if (file.isFetchedAlone()) {
        transferAlone(session, [&](CFileProgress& progress) { file.fetchAlone(path, progress); });
        return;
    }
    CPartFile part(path, FileAccess::OwnerOnly);
    const std::unique_ptr<IDownload> download = file.makeDownload(part.getStream());
    runQuietTransfer(session, store.getPolicy(), *download);
    part.commit();
}

std::vector<CIndexEntry> CStoreIndex::fetch(CSession& session, IStore& store, const IStoredFile& file) {
    std::vector<CIndexEntry> entries;
    fetch(session, store, file, [&entries](CIndexEntry&& entry) { entries.push_back(std::move(entry)); });
    return entries;
}

void CStoreIndex::fetch(CSession& session, IStore& store, const IStoredFile& file,
                        const std::function<void(CIndexEntry&&)>& onEntry) {
    const CTemporaryFolder folder;
    const fs::path path = folder.getPath() / name;
    fetchFile(path, session, store, file);
    const P<CFileInStream> in = new CFileInStream(path);
    CIndexReader reader(*in);
    while (auto entry = reader.findNext()) {
        onEntry(std::move(*entry));
    }
}

void CStoreIndex::load() {
    try {
        list();
    } catch (const CError& error) {
        const CErrorDiagnosis diagnosis = m_store.getPolicy().diagnose(error);
        if (diagnosis.isMissing()) {
            return;
        }
        if (diagnosis.isHopeless() && !diagnosis.isAccessDenied()) {
            throw;
        }
        // Some servers list nothing, and some keys are only allowed to write.
        m_isUsed = false;
        m_session.getConsole().message(
            Verbosity::Warning,
            "vexil: warning: the destination cannot be listed, so all files are stored, and no "
            "index with times, modes and links is written: " +
                CErrorReport(error).getLine());
        return;
    }
    readListed();
}

void CStoreIndex::loadAll() {
    list();
    readListed();
}

void CStoreIndex::readListed() {
    if (m_file) {
        read(*m_file);
        dropMissingFiles();
    }
}

/// Somebody may have deleted files of the store.
void CStoreIndex::dropMissingFiles() {
    for (auto& [unused, known] : m_paths) {
        if (known.entry && known.entry->kind == EntryKind::File && !known.isStored) {
            known.entry.reset();
            m_hasChanged = true;
        }
    }
}

void CStoreIndex::list() {
    const std::unique_ptr<IStoreListing> listing = m_store.list();
    while (std::unique_ptr<IStoredFile> file = listing->findNext()) {
        if (file->getRelativeName() == name) {
            m_mark = file->getMark();
            m_file = std::move(file);
            continue;
        }
        try {
            CKnown& known = m_paths[toBytes(file->getRelativePath())];
            known.isStored = true;
            known.size = file->getSize();
            known.mark = file->getMark().toUTF8();
        } catch (const CError& error) {
            // A file that cannot be fetched is stored again.
            m_problems.push_back(printable(file->getName()) + ": " + error.getMessage());
        }
    }
}

void CStoreIndex::read(const IStoredFile& file) {
    try {
        fetch(m_session, m_store, file, [this](CIndexEntry&& entry) {
            if (entry.kind == EntryKind::Link) {
                m_targets[entry.path] = std::move(entry.target);
            }
            m_paths[entry.path].entry = std::move(entry);
        });
    } catch (const CIndexVersionError&) {
        // An older program must not replace it.
        throw;
    } catch (const CIndexError& error) {
        for (auto& [unused, known] : m_paths) {
            known.entry.reset();
        }
        m_hasChanged = true;
        m_session.getConsole().message(Verbosity::Warning,
                                       "vexil: warning: " + error.getMessage() + " A new index is made.");
    }
}

bool CStoreIndex::isSettled(const CFileFacts& facts) {
    return facts.time.seconds <= facts.readAt - settlingSeconds;
}

bool CStoreIndex::isUnchanged(const fs::path& relativePath, const fs::path& file, const CFileFacts& facts) {
    const auto found = m_paths.find(toBytes(relativePath));
    if (!m_isUsed || found == m_paths.end() || !hasContent(found->second, relativePath, file, facts)) {
        return false;
    }
    CEntryFacts entry = makeEntry(EntryKind::File, facts);
    entry.eTag = found->second.mark;
    noteEntry(toBytes(relativePath), std::move(entry));
    return true;
}

bool CStoreIndex::hasContent(const CKnown& known, const fs::path& relativePath, const fs::path& file,
                             const CFileFacts& facts) const {
    if (!known.isStored || known.size != facts.size) {
        return false;
    }
    const std::optional<CEntryFacts>& entry = known.entry;
    const bool isKnown = entry && entry->kind == EntryKind::File && entry->size == facts.size &&
                         entry->time == facts.time &&
                         (entry->eTag.empty() || known.mark.empty() || entry->eTag == known.mark);
    if (isKnown && m_usesTimes && !entry->isUnsettled) {
        return true;
    }
    const bool provesTime = m_usesTimes && !(entry && entry->isUnsettled) && isSettled(facts);
    try {
        return m_store.hasContent(String::fromUTF8(known.mark), relativePath, file,
                                  provesTime ? std::optional(facts) : std::nullopt);
    } catch (const CError&) {
        // The upload of the file finds the reason, and whether it is one for others, too.
        CInterrupt::throwIfRequested();
        m_session.setFailedRequest(nullptr);
        return false;
    }
}

void CStoreIndex::noteStored(const fs::path& relativePath, const CFileFacts& facts, const String& mark) {
    CEntryFacts entry = makeEntry(EntryKind::File, facts);
    entry.isUnsettled = !isSettled(facts);
    entry.eTag = mark.toUTF8();
    CKnown& known = m_paths[toBytes(relativePath)];
    known.isStored = true;
    known.size = facts.size;
    known.mark = entry.eTag;
    noteEntry(toBytes(relativePath), std::move(entry));
}

void CStoreIndex::note(const fs::path& relativePath, EntryKind kind, const CFileFacts& facts,
                       const std::string& target) {
    const std::string path = toBytes(relativePath);
    if (kind == EntryKind::Link && std::exchange(m_targets[path], target) != target) {
        m_hasChanged = true;
    }
    noteEntry(path, makeEntry(kind, facts));
}

void CStoreIndex::noteEntry(const std::string& path, CEntryFacts entry) {
    CKnown& known = m_paths[path];
    known.isNoted = true;
    if (known.entry != entry) {
        known.entry = std::move(entry);
        m_hasChanged = true;
    }
}

std::vector<fs::path> CStoreIndex::findOthers() const {
    std::vector<fs::path> paths;
    for (const auto& [path, known] : m_paths) {
        if (known.isStored && !(known.isNoted && known.entry && known.entry->kind == EntryKind::File)) {
            paths.push_back(toPath(path));
        }
    }
    return paths;
}

int64 CStoreIndex::countStored() const {
    return std::count_if(m_paths.begin(), m_paths.end(),
                         [](const auto& path) { return path.second.isStored; });
}

bool CStoreIndex::hasFilesBelow(const fs::path& relativePath) const {
    const std::string folder = toBytes(relativePath) + "/";
    for (auto found = m_paths.lower_bound(folder); found != m_paths.end() && found->first.starts_with(folder);
         ++found) {
        if (found->second.isStored) {
            return true;
        }
    }
    return false;
}

void CStoreIndex::noteRemoved(const fs::path& relativePath) {
    CKnown& known = m_paths[toBytes(relativePath)];
    known.isStored = false;
    if (known.entry && known.entry->kind == EntryKind::File) {
        known.entry.reset();
        m_hasChanged = true;
    }
}

void CStoreIndex::forget(const std::string& path) {
    const auto found = m_paths.find(path);
    if (found != m_paths.end() && found->second.entry) {
        found->second.entry.reset();
        m_hasChanged = true;
    }
}

void CStoreIndex::forgetOthers() {
    for (auto& [unused, known] : m_paths) {
        if (known.entry && known.entry->kind != EntryKind::File && !known.isNoted) {
            known.entry.reset();
            m_hasChanged = true;
        }
    }
}

void CStoreIndex::save() {
    for (int tries = 1; m_isUsed && m_hasChanged && !write(); ++tries) {
        if (tries == maxTriesToWrite) {
            throw CError("The index is not written: other backups replace it again and again.");
        }
        takeOver();
    }
}

/// \return false if another backup has replaced the index
bool CStoreIndex::write() {
    const CTemporaryFolder folder;
    const fs::path path = folder.getPath() / name;
    const P<zet::CFileOutStream> out = new zet::CFileOutStream(path);
    CIndexWriter writer(*out);
    for (const auto& [entryPath, known] : m_paths) {
        if (known.entry) {
            const bool isLink = known.entry->kind == EntryKind::Link;
            writer.add({*known.entry, entryPath, isLink ? m_targets.at(entryPath) : std::string()});
        }
    }
    writer.finish();
    out->close();
    return m_store.replace(m_session, path, toPath(std::string(name)), m_mark);
}

/// Reads what another backup has written, and adds what this one has noted.
void CStoreIndex::takeOver() {
    const Paths noted = std::exchange(m_paths, Paths());
    const std::map<std::string, std::string> targets = std::exchange(m_targets, {});
    m_file.reset();
    m_mark.reset();
    m_hasChanged = false;
    load();
    merge(noted, targets);
}

void CStoreIndex::merge(const Paths& noted, const std::map<std::string, std::string>& targets) {
    for (const auto& [path, mine] : noted) {
        if (!mine.isNoted || !mine.entry) {
            continue;
        }
        CKnown& known = m_paths[path];
        CEntryFacts entry = *mine.entry;
        if (entry.kind == EntryKind::File) {
            if (!known.isStored) {
                continue;  // somebody has deleted it
            }
            const bool isMine = entry.eTag == known.mark && entry.size == known.size;
            if (!isMine && known.entry && known.entry->eTag == known.mark) {
                continue;  // the other backup has stored it later
            }
            // Without marks nobody knows whose file it is.
            entry.isUnsettled = entry.isUnsettled || !isMine || known.mark.empty();
        }
        if (entry.kind == EntryKind::Link) {
            m_targets[path] = targets.at(path);
            m_hasChanged = true;
        }
        noteEntry(path, std::move(entry));
    }
}

}  // namespace vexil::app
