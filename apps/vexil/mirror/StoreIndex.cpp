#include "apps/vexil/mirror/StoreIndex.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/TemporaryFolder.h"
#include "apps/vexil/index/IndexError.h"
#include "apps/vexil/index/IndexReader.h"
#include "apps/vexil/index/IndexWriter.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "zet/FileOutStream.h"

#include <functional>
#include <utility>
#include <vector>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

// Another change within this time may leave size and time as they are: some file systems count in 2 s.
constexpr int64 settlingSeconds = 2;

void transferAlone(CSession& session, const std::function<void(CFileProgress&)>& transfer) {
    CProgress progress(session.getConsole());
    CFileProgress file(progress, "");
    transfer(file);
}

void fetchTo(const fs::path& path, CSession& session, IStore& store, const IStoredFile& file) {
    if (file.isFetchedAlone()) {
        transferAlone(session, [&](CFileProgress& progress) { file.fetchAlone(path, progress); });
        return;
    }
    CPartFile part(path, FileAccess::OwnerOnly);
    const std::unique_ptr<IDownload> download = file.makeDownload(part.getStream());
    runQuietTransfer(session, store.getPolicy(), *download);
    part.commit();
}

void storeFrom(const fs::path& path, CSession& session, IStore& store) {
    const P<CFileInStream> file = new CInterruptibleFile(path);
    if (store.isStoredAlone(file->getSize())) {
        transferAlone(session, [&](CFileProgress& progress) {
            store.storeAlone(path, toPath(std::string(CStoreIndex::name)), progress);
        });
        return;
    }
    const std::unique_ptr<ITransfer> upload = store.makeUpload(file, toPath(std::string(CStoreIndex::name)));
    runQuietTransfer(session, store.getPolicy(), *upload);
}

}  // namespace

std::vector<CIndexEntry> CStoreIndex::fetch(CSession& session, IStore& store, const IStoredFile& file) {
    const CTemporaryFolder folder;
    const fs::path path = folder.getPath() / name;
    fetchTo(path, session, store, file);
    const P<CFileInStream> in = new CFileInStream(path);
    CIndexReader reader(*in);
    std::vector<CIndexEntry> entries;
    while (auto entry = reader.findNext()) {
        entries.push_back(std::move(*entry));
    }
    return entries;
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
    if (m_file) {
        read(*m_file);
        dropMissingFiles();
    }
}

/// Somebody may have deleted files of the store.
void CStoreIndex::dropMissingFiles() {
    m_hasChanged |= std::erase_if(m_entries, [this](const auto& entry) {
                        return entry.second.kind == EntryKind::File && !m_sizes.contains(entry.first);
                    }) > 0;
}

void CStoreIndex::list() {
    const std::unique_ptr<IStoreListing> listing = m_store.list();
    while (std::unique_ptr<IStoredFile> file = listing->findNext()) {
        if (file->getRelativeName() == name) {
            m_file = std::move(file);
            continue;
        }
        try {
            m_sizes[toBytes(file->getRelativePath())] = file->getSize();
        } catch (const CError&) {
            // A file that cannot be fetched is stored again.
            m_isConsistent = false;
        }
    }
}

void CStoreIndex::read(const IStoredFile& file) {
    try {
        for (CIndexEntry& entry : fetch(m_session, m_store, file)) {
            const std::string path = entry.path;
            m_entries[path] = std::move(entry);
        }
    } catch (const CIndexVersionError&) {
        // An older program must not replace it.
        throw;
    } catch (const CIndexError& error) {
        m_entries.clear();
        m_hasChanged = true;
        m_session.getConsole().message(Verbosity::Warning,
                                       "vexil: warning: " + error.getMessage() +
                                           " All files are stored again, and a new index is made.");
    }
}

bool CStoreIndex::isUnchanged(const fs::path& relativePath, const CFileFacts& facts) const {
    const std::string path = toBytes(relativePath);
    const auto known = m_entries.find(path);
    const auto stored = m_sizes.find(path);
    return m_isUsed && known != m_entries.end() && stored != m_sizes.end() &&
           known->second.kind == EntryKind::File && !known->second.isUnsettled &&
           known->second.time == facts.time && known->second.size == facts.size &&
           stored->second == facts.size;
}

void CStoreIndex::note(const fs::path& relativePath, EntryKind kind, const CFileFacts& facts,
                       const std::string& target) {
    CIndexEntry entry;
    entry.path = toBytes(relativePath);
    entry.kind = kind;
    entry.size = facts.size;
    entry.time = facts.time;
    entry.mode = facts.mode;
    entry.target = target;
    entry.isUnsettled = kind == EntryKind::File && facts.time.seconds > facts.readAt - settlingSeconds;
    const auto [place, isNew] = m_entries.try_emplace(entry.path);
    const CIndexEntry& known = place->second;
    if (known.kind == kind && known.size == entry.size && known.time == entry.time) {
        entry.eTag = known.eTag;
        entry.md5 = known.md5;
    }
    if (isNew || !(place->second == entry)) {
        place->second = std::move(entry);
        m_hasChanged = true;
    }
}

void CStoreIndex::save() {
    if (!m_hasChanged || !m_isUsed) {
        return;
    }
    const CTemporaryFolder folder;
    const fs::path path = folder.getPath() / name;
    const P<zet::CFileOutStream> out = new zet::CFileOutStream(path);
    CIndexWriter writer(*out);
    for (const auto& [unused, entry] : m_entries) {
        writer.add(entry);
    }
    writer.finish();
    out->close();
    storeFrom(path, m_session, m_store);
}

}  // namespace vexil::app
