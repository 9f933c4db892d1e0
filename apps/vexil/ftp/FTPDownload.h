#pragma once

#include "apps/vexil/transfer/Download.h"
#include "vexil/ftp/FTPDirEntry.h"

#include <optional>

namespace vexil::app {

class CContext;

/// Downloads a file of an FTP server into a stream. One that breaks goes on behind the last byte written, where the
/// server tells the file's time (MLST) and neither that nor the size has changed; else it begins again.
class CFTPDownload : public IDownload {
public:
    /// The context must outlive it.
    /// \param out  where the bytes go, from where it stands on; able to go back there
    CFTPDownload(CContext& context, const String& path, const P<zet::IOutStream>& out);

    /// \throws CError when another file has taken the file's place
    void prepare(CNetRequest& request) override;
    /// \throws CError when bytes are missing
    void checkAnswer(CNetRequest& request) override;
    bool canBeginAnew(CNetRequest&, const CError&) override { return false; }
    /// \throws CError when the server refuses a file that is there
    bool canFallBack(CNetRequest& request, const CError& error) override;

    int getContinuationCount() const noexcept override { return m_continuations; }

private:
    int64 getWrittenBytes() const;
    void goOn();
    void takeInfos(const CNetRequest& request);

    CContext& m_context;
    String m_path;
    P<zet::IOutStream> m_out;
    const int64 m_start;  // of the file, in the stream
    std::optional<CFTPDirEntry> m_info;
    bool m_isUnderWay = false;
    int m_continuations = 0;
};

}  // namespace vexil::app
