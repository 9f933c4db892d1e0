#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Mutex.h"

namespace vexil {

/// The quirks of a server, learned from the first response with a Server header.
///
/// Attach it to requests with CNetRequest::setServerInfoToUpdate. Requests on several threads may share it:
/// each operation is atomic. A copy has its own lock.
class VEXIL_API CServerInfo : public virtual CBase {
public:
    CServerInfo();
    CServerInfo(const CServerInfo& other);
    CServerInfo& operator=(const CServerInfo& other);
    ~CServerInfo() override;

    /// Always false: no server is known whose GET is broken.
    [[nodiscard]] bool isGetBroken() const;
    /// Always false: no server is known whose PUT is broken.
    [[nodiscard]] bool isPutBroken() const;
    /// Whether the server's response to a GET with a range is wrong. True for servers with the components
    /// "DAV" and "Python", both with a version.
    [[nodiscard]] bool areGetRangesBroken() const;
    /// The Server header of that response; "" before it.
    [[nodiscard]] String getServerHeader() const;

    /// Learns from the headers of a response, by lower-case name. Does nothing if a Server header is already
    /// known.
    void updateFromHeaders(const TMap<String, String>& headers);

private:
    struct Facts {
        String serverHeader;
        bool isGetBroken = false;
        bool isPutBroken = false;
        bool areGetRangesBroken = false;
    };

    [[nodiscard]] Facts getFacts() const;
    void setFacts(const Facts& facts);

    mutable zet::CMutex m_mutex;
    Facts m_facts ZET_GUARDED_BY(m_mutex);
};

}  // namespace vexil
