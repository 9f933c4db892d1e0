#pragma once

#include "apps/vexil/index/IndexEntry.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vexil::app {

/// What a restore makes of the index of a backup, after it has fetched the files: times, modes, links and
/// empty folders.
class CRestoredFacts {
public:
    using Report = std::function<void(const std::string& path, const String& reason)>;

    /// \param folder  of the restore
    /// \param report  receives entries that cannot be restored
    CRestoredFacts(const std::filesystem::path& folder, Report report);

    /// Notes a file that the store has.
    void noteListed(const std::filesystem::path& relativePath);
    /// Notes a file that was fetched.
    /// \param size  in bytes
    void noteFetched(const std::filesystem::path& relativePath, int64 size);

    /// Applies all entries of the index. Reports files that the index has and the store has not.
    void apply(const std::vector<CIndexEntry>& entries) const;

private:
    void applyToFile(const CIndexEntry& entry) const;
    void makeFolder(const CIndexEntry& entry) const;
    void makeLink(const CIndexEntry& entry) const;
    void setFacts(const CIndexEntry& entry) const;
    template <class Work>
    void run(const CIndexEntry& entry, const Work& work) const;

    std::filesystem::path m_folder;
    Report m_report;
    std::map<std::string, int64> m_sizes;  // by path; -1 for a file that was not fetched
};

}  // namespace vexil::app
