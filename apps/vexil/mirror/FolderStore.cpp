#include "apps/vexil/mirror/FolderStore.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/files/MakeFolders.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Session.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t blockSize = 1 << 20;

[[noreturn]] void throwSystemError(const String& what, const fs::path& path, const std::error_code& failure) {
    throw CError(what + " '" + describe(path) + "': " + String::fromUTF8Lossy(failure.message()), "system",
                 failure.value());
}

void copy(const fs::path& from, const fs::path& to, CFileProgress& progress) {
    const P<CInterruptibleFile> in = new CInterruptibleFile(from);
    CPartFile out(to);
    const int64 size = in->getSize();
    std::vector<char> block(blockSize);
    while (const int length = in->read(block.data(), static_cast<int>(block.size()))) {
        out.getStream()->write(block.data(), length);
        progress.update(out.getStream()->getPosition(), size);
    }
    // What another program rewrites meanwhile may be neither the old nor the new content.
    if (in->hasChanged()) {
        throw CError("the file '" + describe(from) + "' was changed while it was copied", "system");
    }
    out.commit();
    progress.complete(size);
}

/// The time in few characters: there may be very many marks in memory.
String makeMark(const CFileTime& time) {
    std::array<char, 2 * sizeof(std::uint64_t)> digits{};
    const auto nanoseconds = static_cast<std::uint64_t>(time.seconds) * 1'000'000'000U +
                             static_cast<std::uint64_t>(time.nanoseconds);
    const auto [end, unused] = std::to_chars(digits.data(), digits.data() + digits.size(), nanoseconds, 36);
    return String::fromUTF8(std::string(digits.data(), end));
}

/// "" if the file cannot be read.
String makeMark(const fs::path& path) {
    std::error_code failure;
    const CFileFacts facts = readFileFacts(path, failure);
    return failure ? String() : makeMark(facts.time);
}

fs::path toPathWithin(const String& relativeName) {
    fs::path path;
    for (const fs::path& name : toPath(relativeName)) {
        if (name.empty() || name == "." || name == ".." || name.has_root_path()) {
            path.clear();
            break;
        }
        path /= name;
    }
    if (path.empty()) {
        throw CInvalidArgError("CFolderStore::remove",
                               "'" + printable(relativeName) + "' is not a name within the store");
    }
    return path;
}

}  // namespace

class CFolderStore::CFile : public IStoredFile {
public:
    /// \param folder   must outlive it
    /// \param problem  why it cannot be fetched; "" if it can
    CFile(const fs::path& folder, const fs::path& relativePath, int64 size, const String& problem)
        : m_folder(folder), m_relativePath(relativePath.native()), m_size(size), m_problem(problem) {}

    String getName() const override { return describe(m_folder / m_relativePath); }
    String getRelativeName() const override { return describe(fs::path(m_relativePath)); }
    fs::path getRelativePath() const override {
        if (!m_problem.isEmpty()) {
            throw CError(m_problem);
        }
        return m_relativePath;
    }
    int64 getSize() const override { return m_size; }
    String getMark() const override { return makeMark(m_folder / m_relativePath); }
    bool isFetchedAlone() const override { return true; }
    void fetchAlone(const fs::path& file, CFileProgress& progress) const override {
        const fs::path path = m_folder / m_relativePath;
        std::error_code failure;
        if (getEntryStatus(path, failure).type() == fs::file_type::not_found) {
            throw CMissingError("The file '" + describe(path) + "' does not exist any more.");
        }
        copy(path, file, progress);
    }

private:
    const fs::path& m_folder;
    fs::path::string_type m_relativePath;  // a path would need ten times the memory
    int64 m_size;
    String m_problem;
};

class CFolderStore::CListing : public IStoreListing {
public:
    /// Both must outlive it and its files.
    CListing(CConsole& console, const fs::path& folder) : m_console(console), m_folder(folder) {}

    std::unique_ptr<IStoredFile> findNext() override;

private:
    struct CFolder {
        fs::path relativePath;  // empty for the first one
        std::vector<fs::path> names;
        std::size_t next = 0;
    };

    void begin();
    bool enter(const fs::path& relativePath, std::error_code& failure);
    std::unique_ptr<IStoredFile> visit(const fs::path& relativePath);

    CConsole& m_console;
    const fs::path& m_folder;
    bool m_hasBegun = false;
    std::vector<CFolder> m_open;  // from the first folder down to the current one
};

std::unique_ptr<IStoredFile> CFolderStore::CListing::findNext() {
    if (!m_hasBegun) {
        m_hasBegun = true;
        begin();
    }
    while (!m_open.empty()) {
        CFolder& folder = m_open.back();
        if (folder.next == folder.names.size()) {
            m_open.pop_back();
        } else if (auto file = visit(folder.relativePath / folder.names[folder.next++])) {
            return file;
        }
    }
    return nullptr;
}

void CFolderStore::CListing::begin() {
    std::error_code failure;
    const fs::file_status status = fs::status(m_folder, failure);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw CError("Cannot read the folder '" + describe(m_folder) + "': it is no folder", "system");
    }
    if (!enter(fs::path(), failure)) {
        if (failure == std::errc::no_such_file_or_directory) {
            throw CMissingError("The folder '" + describe(m_folder) + "' does not exist.");
        }
        throwSystemError("Cannot read the folder", m_folder, failure);
    }
}

bool CFolderStore::CListing::enter(const fs::path& relativePath, std::error_code& failure) {
    // An empty path after "/" would be a name of its own.
    std::vector<fs::path> names =
        listFolder(relativePath.empty() ? m_folder : m_folder / relativePath, failure);
    if (failure) {
        return false;
    }
    std::sort(names.begin(), names.end(),
              [](const fs::path& left, const fs::path& right) { return left.native() < right.native(); });
    m_open.push_back({relativePath, std::move(names)});
    return true;
}

std::unique_ptr<IStoredFile> CFolderStore::CListing::visit(const fs::path& relativePath) {
    const fs::path path = m_folder / relativePath;
    std::error_code failure;
    const fs::file_status status = getEntryStatus(path, failure);
    if (status.type() == fs::file_type::not_found) {
        return nullptr;  // it was deleted meanwhile
    }
    if (fs::is_directory(status)) {
        if (enter(relativePath, failure)) {
            return nullptr;
        }
        return std::make_unique<CFile>(m_folder, relativePath, 0,
                                       "the folder cannot be read: " +
                                           String::fromUTF8Lossy(failure.message()));
    }
    if (!fs::is_regular_file(status)) {
        m_console.message(Verbosity::Warning, "skipped " + describe(path) + ": neither a file nor a folder");
        return nullptr;
    }
    const auto size = fs::file_size(path, failure);
    return std::make_unique<CFile>(m_folder, relativePath, failure ? 0 : static_cast<int64>(size),
                                   isPartName(relativePath.filename()) ? leftPartReason : "");
}

CFolderStore::CFolderStore(CConsole& console, const fs::path& folder)
    : m_console(console), m_folder(folder), m_leftParts(console) {}

std::unique_ptr<IStoreListing> CFolderStore::list() {
    return std::make_unique<CListing>(m_console, m_folder);
}

void CFolderStore::beginUploads() {
    std::error_code failure;
    fs::create_directories(m_folder, failure);
    if (!fs::is_directory(m_folder)) {
        throwSystemError("Cannot make the folder", m_folder, failure);
    }
}

String CFolderStore::storeAlone(const fs::path& file, const fs::path& relativePath,
                                const std::optional<CFileTime>& time, CFileProgress& progress) {
    makeFoldersBelow(m_folder, relativePath.parent_path(),
                     [this](const fs::path& path) { replaceByFolder(path); });
    const fs::path path = m_folder / relativePath;
    m_leftParts.lookInto(path.parent_path());
    m_leftParts.clear(path, String());
    copy(file, path, progress);
    // Not every disk can keep each time. The mark then tells which time the copy has.
    std::error_code ignored;
    setFileFacts(path, time, std::nullopt, ignored);
    return makeMark(path);
}

bool CFolderStore::replace(CSession& session, const fs::path& file, const fs::path& relativePath,
                           const std::optional<String>& mark) {
    const fs::path path = m_folder / relativePath;
    std::error_code failure;
    const bool exists = fs::exists(getEntryStatus(path, failure));
    if (exists != mark.has_value() || (exists && makeMark(path) != *mark)) {
        return false;
    }
    CProgress progress(session.getConsole());
    CFileProgress fileProgress(progress, "");
    storeAlone(file, relativePath, std::nullopt, fileProgress);
    return true;
}

bool CFolderStore::hasContent(const String& mark, const fs::path&, const fs::path&,
                              const std::optional<CFileFacts>& facts) {
    return facts && mark == makeMark(facts->time);
}

void CFolderStore::replaceByFolder(const fs::path& file) {
    fs::path oldFile = file.parent_path() / makePartName(file, makeRandomDigits());
    oldFile += "-old";
    std::error_code failure;
    fs::rename(file, oldFile, failure);
    if (failure) {
        throwSystemError("Cannot rename the file", file, failure);
    }
    if (!fs::create_directory(file, failure)) {
        std::error_code ignored;
        fs::rename(oldFile, file, ignored);
        throwSystemError("Cannot make the folder", file, failure);
    }
    fs::remove(oldFile, failure);
    if (failure) {
        throwSystemError("Cannot delete the file", oldFile, failure);
    }
    m_console.message(Verbosity::Warning,
                      "replaced: the file '" + describe(file) + "', which is a folder now");
}

void CFolderStore::finishUploads(const CFolderWalker&, bool, const Report&) {
    m_leftParts.clearAll();
}

void CFolderStore::remove(const String& relativeName) {
    const fs::path path = m_folder / toPathWithin(relativeName);
    std::error_code failure;
    const fs::file_status status = getEntryStatus(path, failure);
    if (fs::is_directory(status)) {
        throw CError("'" + describe(path) + "' is a folder", "system");
    }
    fs::remove(path, failure);
    if (failure && failure != std::errc::not_a_directory) {
        throwSystemError("Cannot delete the file", path, failure);
    }
}

void CFolderStore::removeEmptyFolder(const fs::path& relativePath) {
    const fs::path path = m_folder / relativePath;
    std::error_code failure;
    if (fs::is_directory(getEntryStatus(path, failure))) {
        fs::remove(path, failure);
    }
}

}  // namespace vexil::app
