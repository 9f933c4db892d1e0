#include "apps/vexil/mirror/FolderComparison.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

constexpr int blockSize = 64 * 1024;

void readWhole(CFileInStream& stream, char* block, int length) {
    for (int done = 0; done < length;) {
        done += stream.read(block + done, length - done);
    }
}

bool hasFile(const CFolderWalker& walker, const fs::path& relativePath) {
    std::error_code ignored;
    return fs::is_regular_file(getEntryStatus(walker.getFolder() / relativePath, ignored));
}

}  // namespace

CFileComparer::CFileComparer() : m_firstBlock(blockSize), m_secondBlock(blockSize) {}

String CFileComparer::findDifference(const std::filesystem::path& first,
                                     const std::filesystem::path& second) {
    CInterruptibleFile firstStream(first);
    CInterruptibleFile secondStream(second);
    const int64 size = firstStream.getSize();
    if (size != secondStream.getSize()) {
        return "the sizes differ: " + formatCount(size) + " and " +
               formatNumberOf(secondStream.getSize(), "byte");
    }
    for (int64 position = 0; position < size;) {
        const auto length = static_cast<int>(std::min<int64>(blockSize, size - position));
        readWhole(firstStream, m_firstBlock.data(), length);
        readWhole(secondStream, m_secondBlock.data(), length);
        const auto end = m_firstBlock.begin() + length;
        const auto [different, other] = std::mismatch(m_firstBlock.begin(), end, m_secondBlock.begin());
        if (different != end) {
            return "the bytes at offset " + formatCount(position + (different - m_firstBlock.begin())) +
                   " differ";
        }
        position += length;
    }
    return String();
}

/// Compares every file of the first folder with the file in the second one.
class CFolderComparison::CFirstVisitor : public IFolderVisitor {
public:
    explicit CFirstVisitor(CFolderComparison& comparison) : m_comparison(comparison) {}

    void onFile(const fs::path& relativePath) override { m_comparison.compare(relativePath); }
    void onSkipped(const fs::path&, const char*) override {}
    void onPart(const fs::path& relativePath) override { onFile(relativePath); }
    void onEmptyFolder(const fs::path&) override {}
    void onProblem(const fs::path& relativePath, const String& reason) override {
        m_comparison.report(relativePath, reason);
    }

private:
    CFolderComparison& m_comparison;
};

/// Finds files that are missing in the first folder.
class CFolderComparison::CSecondVisitor : public IFolderVisitor {
public:
    explicit CSecondVisitor(CFolderComparison& comparison) : m_comparison(comparison) {}

    void onFile(const fs::path& relativePath) override {
        if (!hasFile(m_comparison.m_first, relativePath)) {
            m_comparison.report(relativePath,
                                "only in '" + describe(m_comparison.m_second.getFolder()) + "'");
        }
    }
    void onSkipped(const fs::path&, const char*) override {}
    void onPart(const fs::path& relativePath) override { onFile(relativePath); }
    void onEmptyFolder(const fs::path&) override {}
    void onProblem(const fs::path& relativePath, const String& reason) override {
        m_comparison.report(relativePath, reason);
    }

private:
    CFolderComparison& m_comparison;
};

CFolderComparison::CFolderComparison(CConsole& console, CProgress& progress, const CFolderWalker& first,
                                     const CFolderWalker& second)
    : m_console(console), m_progress(progress), m_first(first), m_second(second) {}

void CFolderComparison::run() {
    CFirstVisitor compareAll(*this);
    m_first.walk(compareAll);
    CSecondVisitor findMissing(*this);
    m_second.walk(findMissing);
}

void CFolderComparison::compare(const fs::path& relativePath) {
    if (!hasFile(m_second, relativePath)) {
        report(relativePath, "only in '" + describe(m_first.getFolder()) + "'");
        return;
    }
    CFileProgress fileProgress(m_progress, describe(relativePath));
    try {
        const fs::path path = m_first.getFolder() / relativePath;
        const String difference = m_comparer.findDifference(path, m_second.getFolder() / relativePath);
        if (!difference.isEmpty()) {
            report(relativePath, difference);
        }
        fileProgress.complete(static_cast<int64>(fs::file_size(path)));
    } catch (const std::exception& error) {
        CInterrupt::throwIfRequested();
        report(relativePath, String::fromUTF8Lossy(error.what()));
    }
}

void CFolderComparison::report(const fs::path& relativePath, const String& what) {
    ++m_differences;
    m_console.print(describe(relativePath) + ": " + what);
}

}  // namespace vexil::app
