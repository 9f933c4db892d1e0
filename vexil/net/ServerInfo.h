#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Mutex.h"

namespace vexil {

/// What was learnt about a server's quirks from the first response that named the server.
///
/// Attached to requests with CNetRequest::setServerInfoToUpdate; may be shared by requests on several
/// threads, each operation is atomic. A copy has its own lock.
class VEXIL_API CServerInfo : public virtual CBase {
public:
    CServerInfo();
    CServerInfo(const CServerInfo& other);
    CServerInfo& operator=(const CServerInfo& other);
    ~CServerInfo() override;

    /// Always false: no server is known whose GET is broken.
    bool isGetBroken() const;
    /// Always false: no server is known whose PUT is broken.
    bool isPutBroken() const;
    /// Whether the server answers ranged GETs wrongly: one with "DAV" and "Python" components, both with a
    /// version.
    bool areGetRangesBroken() const;
    /// The Server header that was learnt from, "" before that.
    String getServerHeader() const;

    /// Learns from the headers of a response, by lower-case name; does nothing once a Server header is known.
    void updateFromHeaders(const TMap<String, String>& headers);

private:
    struct Facts {
        String serverHeader;
        bool isGetBroken = false;
        bool isPutBroken = false;
        bool areGetRangesBroken = false;
    };

    Facts getFacts() const;
    void setFacts(const Facts& facts);

    mutable zet::CMutex m_mutex;
    Facts m_facts;  // guarded by m_mutex
};

}  // namespace vexil
