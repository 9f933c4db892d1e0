#include "vexil/net/TryLog.h"

#include "vexil/net/NetRequest.h"
#include "vexil/net/URLRedaction.h"
#include "zet/ASCII.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace vexil {

namespace {

// Forces the constant into the DLL: on Windows, code that binds a reference to it imports it from there.
[[gnu::used]] const int* const neededConstant = &CTryLog::maxTries;

constexpr char propertyName[] = "tries";
constexpr std::size_t maxMessageLength = 500;

/// Servers that echo a request send its credentials back.
String hideAuthorization(const String& text) {
    static constexpr char header[] = "authorization";
    const std::size_t at = text.toLower().find(header);
    return at == String::npos ? text : text.substr(0, at + sizeof(header) - 1) + " ***";
}

/// One line, without secrets.
String makeMessage(const CError& error) {
    const String sent = error.getProps().lookup("serverMessage");
    const String text = redactURLs(hideAuthorization(sent.isEmpty() ? error.getMessage() : sent));
    std::wstring line(text.substr(0, maxMessageLength).trimmed().view());
    std::replace_if(
        line.begin(), line.end(), [](wchar_t character) { return character < L' '; }, L' ');
    return line;
}

int findCURLCode(const CError& error) {
    if (error.getDomain() == "curl") {
        return static_cast<int>(error.getCode());
    }
    return error.getDomain() == "http" && error.getCode() > 0 ? CURLE_HTTP_RETURNED_ERROR : CURLE_OK;
}

String makeLine(const CTryRecord& record) {
    const auto number = [](const char* name, auto value) {
        return String(name) + String::fromInt(static_cast<int64>(value));
    };
    return number("", record.number) + (record.hasFailed ? " failed " : " succeeded ") +
           zet::CTimeFields(record.start).toISODateTime(6) + number(" us=", record.duration.count()) +
           number(" sent=", record.uploadedBytes) + number(" received=", record.downloadedBytes) +
           number(" curl=", record.curlCode) + number(" status=", record.status) +
           number(" pause_ms=", record.pause.count()) + " message=" + record.message;
}

/// Reads what makeLine() has written. False for anything else.
bool readLine(const std::string& line, CTryRecord& record) {
    int date[7] = {};
    char result[16] = {};
    long long numbers[4] = {};  // duration, sent, received, pause
    int end = 0;
    const int count = std::sscanf(
        line.c_str(),
        "%d %15s %d-%d-%dT%d:%d:%d.%6dZ us=%lld sent=%lld received=%lld curl=%d status=%d pause_ms=%lld "
        "message=%n",
        &record.number, result, &date[0], &date[1], &date[2], &date[3], &date[4], &date[5], &date[6],
        &numbers[0], &numbers[1], &numbers[2], &record.curlCode, &record.status, &numbers[3], &end);
    if (count != 15 || end == 0) {
        return false;
    }
    zet::CTimeFields fields;
    fields.setDate(date[0], date[1], date[2]);
    fields.setTime(date[3], date[4], date[5]);
    const zet::CTime start = fields.toTime();
    if (!start.isSet()) {
        return false;
    }
    record.hasFailed = std::string_view(result) == "failed";
    record.start = zet::CTime::fromMicroseconds(start.getMicroseconds() + date[6]);
    record.duration = std::chrono::microseconds(numbers[0]);
    record.uploadedBytes = numbers[1];
    record.downloadedBytes = numbers[2];
    record.pause = std::chrono::milliseconds(numbers[3]);
    record.message = String::fromUTF8Lossy(std::string_view(line).substr(static_cast<std::size_t>(end)));
    return true;
}

}  // namespace

CTryLog::CTryLog() = default;
CTryLog::CTryLog(const CTryLog&) = default;
CTryLog::CTryLog(CTryLog&&) noexcept = default;
CTryLog& CTryLog::operator=(const CTryLog&) = default;
CTryLog& CTryLog::operator=(CTryLog&&) noexcept = default;
CTryLog::~CTryLog() = default;

String CTryLog::toText() const {
    String text;
    for (const CTryRecord& record : m_tries) {
        text += (text.isEmpty() ? String() : String("\n")) + makeLine(record);
    }
    return text;
}

CTryLog CTryLog::fromError(const CError& error) {
    CTryLog log;
    const std::string text = error.getProps().lookup(propertyName).toUTF8();
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        CTryRecord record;
        if (!readLine(text.substr(begin, end - begin), record)) {
            return {};
        }
        log.m_count = record.number;
        log.m_tries.push_back(record);
        begin = end + 1;
    }
    return log;
}

void CTryLog::begin() {
    m_start = zet::CTime::now();
    m_steadyStart = std::chrono::steady_clock::now();
}

std::chrono::microseconds CTryLog::getDuration() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 m_steadyStart);
}

void CTryLog::end(CNetRequest& request, const CError* error) {
    CTryRecord record;
    record.number = ++m_count;
    record.hasFailed = error != nullptr;
    record.start = m_start;
    record.duration = getDuration();
    record.uploadedBytes = request.getUploadedByteCount();
    record.downloadedBytes = request.getDownloadedByteCount();
    record.status = std::max(0, request.getResponseCode());
    if (error) {
        record.curlCode = findCURLCode(*error);
        record.message = makeMessage(*error);
    }
    if (m_tries.size() == maxTries) {
        m_tries.erase(m_tries.begin());
    }
    m_tries.push_back(record);
}

void CTryLog::setPause(std::chrono::milliseconds pause) {
    if (!m_tries.empty()) {
        m_tries.back().pause = pause;
    }
}

void CTryLog::attachTo(CError& error) const {
    if (!m_tries.empty()) {
        // An error has no function for this: its properties are those of its constructor.
        const_cast<CProps&>(error.getProps()).add(propertyName, toText());
    }
}

}  // namespace vexil
