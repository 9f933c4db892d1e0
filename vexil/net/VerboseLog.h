#pragma once

#include "vexil/net/NetRequest.h"
#include "vexil/net/VerboseRecord.h"

#include <memory>
#include <string_view>

namespace vexil {

/// The verbose log of a request: what is recorded of a transfer, and the trees that show it. One thread at a
/// time.
class CVerboseLog {
public:
    using Message = CNetRequest::CVerboseLogMessage;

    void setOn(bool isOn);
    bool isOn() const noexcept { return m_isOn; }
    void setShown(VerboseLogData data, VerboseLogData sslData) noexcept;
    /// See CNetRequest::setVerboseRecordLimit().
    void setLimit(int64 bytes) noexcept;
    int64 getLeftOutBytes() const noexcept { return m_record ? m_record->getLeftOutBytes() : 0; }

    /// A transfer begins: empties the log and decides VerboseLogAutomatic.
    void begin(bool isUpload) noexcept;
    void add(curl_infotype type, std::string_view bytes);

    /// See CNetRequest::getVerboseOutput() and CNetRequest::getRedactedVerboseOutput().
    P<zet::CXMLElement> makeTree(const String& httpMethod, const String& url,
                                 unsigned int maxTextLength) const;
    P<zet::CXMLElement> makeRedactedTree(const String& httpMethod, const String& url,
                                         unsigned int maxTextLength) const;
    /// The element of one message in the first of these.
    P<zet::CXMLElement> makeElement(const Message& message, unsigned int maxTextLength) const;

private:
    bool m_isOn = false;
    VerboseLogData m_sslData = VerboseLogNone;
    VerboseLogData m_data = VerboseLogAutomatic;
    int64 m_limit = -1;                        // of the record
    std::unique_ptr<CVerboseRecord> m_record;  // null until the log is on for the first time
};

}  // namespace vexil
