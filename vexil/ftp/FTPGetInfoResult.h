#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/net/NetStringList.h"

namespace vexil {

/// Information of an FTP server about one entry (MLST, RFC 3659, 7). A value; copies share the entry.
///
/// \code
/// client.prepareGetInfoRequest(request, "/docs/report.pdf");
/// request.perform();
/// const CFTPGetInfoResult result(request.getResponseInfo());
/// const int64 size = result.getInfo()->getSize();
/// \endcode
class VEXIL_API CFTPGetInfoResult : public virtual CBase {
public:
    /// Reads the entry from the last line that follows a line with "250-". This is wrong only if the server's
    /// greeting or CWD reply is a multi-line 250 reply and there is no reply to MLST.
    /// \param replyLines  CNetRequest::getResponseInfo() of the transfer
    /// \throws CError "Invalid response to FTP MLST request (no info line found)." with all lines as its
    ///         property "response"; the errors of CFTPDirEntry
    explicit CFTPGetInfoResult(const CNetStringList& replyLines);
    CFTPGetInfoResult(const CFTPGetInfoResult&) = default;
    CFTPGetInfoResult(CFTPGetInfoResult&&) = default;
    CFTPGetInfoResult& operator=(const CFTPGetInfoResult&) = default;
    CFTPGetInfoResult& operator=(CFTPGetInfoResult&&) = default;
    ~CFTPGetInfoResult() override;

    /// The entry; its name is often the whole path. Never null.
    PC<CFTPDirEntry> getInfo() const { return m_info; }

private:
    P<CFTPDirEntry> m_info;
};

}  // namespace vexil
