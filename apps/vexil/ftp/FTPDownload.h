#pragma once

#include "apps/vexil/transfer/Download.h"
#include "vexil/ftp/FTPDirEntry.h"

#include <optional>

namespace vexil::app {

class CFTPAccess;

/// Downloads a file of an FTP server into a stream. An interrupted download continues after the last written
/// byte if the server reports the file's time (MLST), and neither time nor size has changed; otherwise it
/// begins again.
class CFTPDownload : public IDownload {
public:
    /// The access must outlive it.
    /// \param out  receives the bytes from its current position on; must be able to seek back there
    CFTPDownload(CFTPAccess& access, const String& path, const P<zet::IOutStream>& out);

    /// \throws CError if another file has replaced this one
    void prepare(CNetRequest& request) override;
    /// \throws CError if bytes are missing
    void checkResponse(CNetRequest& request) override;
    bool canBeginAgain(CNetRequest&, const CError&) override { return false; }
    /// \throws CError if the server refuses an existing file
    bool canFallBack(CNetRequest& request, const CError& error) override;

    int getContinuationCount() const noexcept override { return m_continuations; }

private:
    int64 getWrittenBytes() const;
    void goOn();
    void takeInfos(const CNetRequest& request);

    CFTPAccess& m_access;
    String m_path;
    P<zet::IOutStream> m_out;
    const int64 m_start;  // position of the file's first byte in the stream
    std::optional<CFTPDirEntry> m_info;
    bool m_isUnderWay = false;
    int m_continuations = 0;
};

}  // namespace vexil::app
