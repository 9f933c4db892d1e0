#include "apps/vexil/mirror/RestoredFacts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/MakeFolders.h"
#include "apps/vexil/platform/FileFacts.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

constexpr int64 notFetched = -1;

[[noreturn]] void throwFailure(const char* what, const std::error_code& failure) {
    throw CError(String(what) + ": " + String::fromUTF8Lossy(failure.message()), "system", failure.value());
}

}  // namespace

CRestoredFacts::CRestoredFacts(const fs::path& folder, Report report)
    : m_folder(folder), m_report(std::move(report)) {}

void CRestoredFacts::noteListed(const fs::path& relativePath) {
    m_sizes.try_emplace(toBytes(relativePath), notFetched);
}

void CRestoredFacts::noteFetched(const fs::path& relativePath, int64 size) {
    m_sizes[toBytes(relativePath)] = size;
}

void CRestoredFacts::apply(const std::vector<CIndexEntry>& entries) const {
    std::vector<const CIndexEntry*> folders;
    for (const CIndexEntry& entry : entries) {
        if (entry.kind == EntryKind::Folder) {
            run(entry, [&] {
                makeFolder(entry);
                // Only these: another one may lie on the other side of a link.
                folders.push_back(&entry);
            });
        }
    }
    for (const CIndexEntry& entry : entries) {
        if (entry.kind == EntryKind::File) {
            run(entry, [&] { applyToFile(entry); });
        } else if (entry.kind == EntryKind::Link) {
            run(entry, [&] { makeLink(entry); });
        }
    }
    // Last, and the inner ones first: making an entry changes the time of its folder.
    std::sort(folders.begin(), folders.end(),
              [](const CIndexEntry* left, const CIndexEntry* right) { return left->path > right->path; });
    for (const CIndexEntry* const folder : folders) {
        run(*folder, [&] { setFacts(*folder); });
    }
}

template <class Work>
void CRestoredFacts::run(const CIndexEntry& entry, const Work& work) const {
    try {
        work();
    } catch (const CError& error) {
        m_report(entry.path, error.getMessage());
    }
}

void CRestoredFacts::applyToFile(const CIndexEntry& entry) const {
    const auto file = m_sizes.find(entry.path);
    if (file == m_sizes.end()) {
        throw CError("the index names it, but it is not in the backup any more");
    }
    // Another size is a newer file, of which the index does not know yet.
    if (file->second == entry.size) {
        setFacts(entry);
    }
}

void CRestoredFacts::makeFolder(const CIndexEntry& entry) const {
    makeFoldersBelow(m_folder, toPath(entry.path));
}

void CRestoredFacts::makeLink(const CIndexEntry& entry) const {
    const fs::path relativePath = toPath(entry.path);
    makeFoldersBelow(m_folder, relativePath.parent_path());
    const fs::path path = m_folder / relativePath;
    const fs::path target = toPath(entry.target);
    std::error_code failure;
    const fs::file_status status = getEntryStatus(path, failure);
    if (fs::exists(status) && !fs::is_symlink(status)) {
        throw CError(fs::is_directory(status) ? "it is a link, but a folder has its name"
                                              : "it is a link, but a file has its name");
    }
    if (fs::is_symlink(status)) {
        if (fs::read_symlink(path, failure) == target) {
            setFacts(entry);
            return;
        }
        fs::remove(path, failure);
    }
    fs::create_symlink(target, path, failure);
    if (failure) {
        throwFailure("the link cannot be made", failure);
    }
    setFacts(entry);
}

void CRestoredFacts::setFacts(const CIndexEntry& entry) const {
    std::error_code failure;
    setFileFacts(m_folder / toPath(entry.path), entry.time, entry.mode, failure);
    if (failure) {
        throwFailure("its time and mode cannot be set", failure);
    }
}

}  // namespace vexil::app
