#pragma once

#include "vexil/net/NetRequest.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace vexil {

/// libcurl's messages about one transfer, up to a limit: see CNetRequest::setVerboseRecordLimit(). One thread
/// at a time.
class CVerboseRecord {
public:
    using Message = CNetRequest::CVerboseLogMessage;

    /// \param bytes  -1 for none
    void setLimit(int64 bytes) noexcept { m_limit = bytes; }
    /// Empties the record; the limit stays.
    void clear() noexcept;
    /// \param isShown  whether the message's text is to be shown
    void add(curl_infotype type, std::string_view bytes, bool isShown);

    const TList<Message>& getMessages() const noexcept { return m_messages; }
    int64 getLeftOutBytes() const noexcept { return m_leftOut; }

private:
    static constexpr std::size_t kinds = CURLINFO_END;

    void keep(curl_infotype type, std::string_view bytes);
    void keepWithin(int64& used, curl_infotype type, std::string_view bytes);
    void count(curl_infotype type, std::string_view bytes);
    void leaveOut(curl_infotype type, std::string_view bytes) noexcept;
    bool isFull(int64 used) const noexcept { return used >= m_limit; }
    bool readHead(curl_infotype type, std::string_view bytes);
    void readSentLines(std::string_view bytes);

    TList<Message> m_messages;
    int64 m_limit = -1;
    int64 m_leftOut = 0;
    int64 m_usedByData = 0;  // of the limit
    int64 m_usedByRest = 0;
    std::array<Message*, kinds> m_counted{};  // the messages that only count
    std::string m_sentLine;                   // one whose end has not come
    bool m_isInRequestHead = false;
};

}  // namespace vexil
