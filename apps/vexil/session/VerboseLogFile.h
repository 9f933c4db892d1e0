#pragma once

#include "apps/vexil/files/PartFile.h"
#include "zet/XMLElement.h"

#include <memory>
#include <string>
#include <string_view>

namespace vexil::app {

/// The file of `--verbose-log`: an XML document with an element for each transfer, written when the transfer
/// ends, so that only one of them is in memory. Only its owner may read it. It gets its name at the end. One
/// thread.
class CVerboseLogFile {
public:
    /// \throws CInvalidArgError if the file cannot be made
    explicit CVerboseLogFile(const std::filesystem::path& path);
    ~CVerboseLogFile();
    CVerboseLogFile(const CVerboseLogFile&) = delete;
    CVerboseLogFile& operator=(const CVerboseLogFile&) = delete;

    /// Appends a transfer. A failure is kept for finish(): a transfer must not fail because it cannot be
    /// logged.
    void add(const zet::CXMLElement& transfer) noexcept;
    /// Ends the document, and gives the file its name. Must be called once, as the last function.
    /// \throws CError that names the file, also for what add() could not write
    void finish();

private:
    void write(std::string_view text);

    std::unique_ptr<CPartFile> m_file;
    P<CError> m_failure;
};

}  // namespace vexil::app
