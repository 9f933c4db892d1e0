#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/net/NetStringList.h"

namespace vexil {

/// What an FTP server tells about one entry (MLST, RFC 3659, 7). A value; copies share the entry.
///
/// \code
/// client.prepareGetInfoRequest(request, "/docs/report.pdf");
/// request.perform();
/// const CFTPGetInfoResult result(request.getResponseInfo());
/// const int64 size = result.getInfo()->getSize();
/// \endcode
class VEXIL_API CFTPGetInfoResult : public virtual CBase {
public:
    /// Takes the last line that follows one with "250-" for the entry. That is wrong only behind a server that
    /// greets or changes directories with several lines of that code and then does not answer MLST.
    /// \param replyLines  CNetRequest::getResponseInfo() of the transfer
    /// \throws CError "Invalid response to FTP MLST request (no info line found)." with all lines as its property
    ///         "response"; as CFTPDirEntry does
    explicit CFTPGetInfoResult(const CNetStringList& replyLines);
    CFTPGetInfoResult(const CFTPGetInfoResult&) = default;
    CFTPGetInfoResult(CFTPGetInfoResult&&) = default;
    CFTPGetInfoResult& operator=(const CFTPGetInfoResult&) = default;
    CFTPGetInfoResult& operator=(CFTPGetInfoResult&&) = default;
    ~CFTPGetInfoResult() override;

    /// The entry, whose name is often the whole path. Never null.
    PC<CFTPDirEntry> getInfo() const { return m_info; }

private:
    P<CFTPDirEntry> m_info;
};

}  // namespace vexil
