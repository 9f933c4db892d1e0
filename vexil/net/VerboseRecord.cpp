#include "vexil/net/VerboseRecord.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int64 bytesOfMessage = 100;  // in addition to its text: a TLS record may have only five

bool isData(curl_infotype type) {
    return type == CURLINFO_DATA_IN || type == CURLINFO_DATA_OUT;
}

bool isTLSData(curl_infotype type) {
    return type == CURLINFO_SSL_DATA_IN || type == CURLINFO_SSL_DATA_OUT;
}

}  // namespace

void CVerboseRecord::clear() noexcept {
    m_messages.clear();
    m_leftOut = 0;
    m_usedByData = 0;
    m_usedByRest = 0;
    m_counted = {};
    m_sentLine.clear();
    m_isInRequestHead = false;
}

void CVerboseRecord::add(curl_infotype type, std::string_view bytes, bool isShown) {
    if (m_limit < 0) {
        keep(type, bytes);
    } else if (isFull(m_usedByRest)) {
        // Without the missing part the rest may be misread, and a secret in it be shown.
        leaveOut(type, bytes);
    } else if (readHead(type, bytes) || !(isData(type) || isTLSData(type))) {
        m_counted = {};
        keepWithin(m_usedByRest, type, bytes);
    } else if (!isShown) {
        count(type, bytes);
    } else {
        keepWithin(m_usedByData, type, bytes);
    }
}

void CVerboseRecord::keep(curl_infotype type, std::string_view bytes) {
    Message message{zet::CTime::now(), type, {}};
    message.data.append(bytes.data(), static_cast<int>(bytes.size()));
    m_messages.push_back(std::move(message));
}

void CVerboseRecord::keepWithin(int64& used, curl_infotype type, std::string_view bytes) {
    if (isFull(used)) {
        leaveOut(type, bytes);
    } else {
        keep(type, bytes);
        used += static_cast<int64>(bytes.size()) + bytesOfMessage;
    }
}

void CVerboseRecord::count(curl_infotype type, std::string_view bytes) {
    Message*& counted = m_counted[static_cast<std::size_t>(type)];
    if (!counted) {
        keep(type, {});
        counted = &m_messages.back();
    }
    counted->leftOut += static_cast<int64>(bytes.size());
}

void CVerboseRecord::leaveOut(curl_infotype type, std::string_view bytes) noexcept {
    // TLS data repeats the other data.
    m_leftOut += isTLSData(type) ? 0 : static_cast<int64>(bytes.size());
}

/// Whether this is part of a request head. If libcurl cannot send a head at once, it reports the rest as
/// data.
bool CVerboseRecord::readHead(curl_infotype type, std::string_view bytes) {
    const bool goesOn = m_isInRequestHead || !m_sentLine.empty();
    const bool isHead = type == CURLINFO_HEADER_OUT || (type == CURLINFO_DATA_OUT && goesOn);
    if (isHead) {
        readSentLines(bytes);
    }
    return isHead;
}

void CVerboseRecord::readSentLines(std::string_view bytes) {
    do {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
        m_sentLine += bytes.substr(0, end);
        bytes.remove_prefix(end);
        if (m_sentLine.ends_with('\n')) {
            const bool isEmpty = m_sentLine == "\r\n" || m_sentLine == "\n";
            m_isInRequestHead =
                !isEmpty && (m_isInRequestHead || m_sentLine.find(" HTTP/") != std::string::npos);
            m_sentLine.clear();
        }
    } while (!bytes.empty() && m_isInRequestHead);
}

}  // namespace vexil
