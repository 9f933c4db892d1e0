#include "vexil/net/HTTPStatusLine.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/PostBody.h"
#include "vexil/net/ReplyAssembler.h"
#include "zet/Log.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace vexil {

namespace {

bool isStatusLine(std::string_view bytes) {
    return bytes.starts_with("HTTP/");
}

/// Not the status line, whose code libcurl knows, and not a line without content.
bool isHeaderField(std::string_view bytes) {
    return !isStatusLine(bytes) && bytes.find_first_not_of(" \t\r\n") != std::string_view::npos;
}

/// Whether a reply of an FTP server names the port of a data connection, to which libcurl connects next.
bool isDataPort(std::string_view bytes) {
    return bytes.starts_with("229 ") || bytes.starts_with("227 ");
}

}  // namespace

// ---- callbacks -------------------------------------------------------------------------------------------

template <class Handler, class Failure>
Failure CNetRequest::guarded(Handler handler, Failure failure) noexcept {
    try {
        return handler();
    } catch (...) {
        keepCallbackError();
        return failure;
    }
}

void CNetRequest::keepCallbackError() noexcept {
    const zet::CMutexLock lock(m_asyncMutex);
    if (!m_pendingCallbackError) {
        m_pendingCallbackError = zet::currentExceptionToError();
    }
}

P<CError> CNetRequest::getPendingCallbackError() const {
    const zet::CMutexLock lock(m_asyncMutex);
    return m_pendingCallbackError;
}

std::size_t CNetRequest::writeCallback(char* data, std::size_t size, std::size_t count,
                                       void* request) noexcept {
    return static_cast<CNetRequest*>(request)->writeHandler(data, size, count);
}

std::size_t CNetRequest::readCallback(char* buffer, std::size_t size, std::size_t count,
                                      void* request) noexcept {
    return static_cast<CNetRequest*>(request)->readHandler(buffer, size, count);
}

int CNetRequest::seekCallback(void* request, curl_off_t offset, int origin) noexcept {
    return static_cast<CNetRequest*>(request)->seekHandler(offset, origin);
}

std::size_t CNetRequest::headerCallback(char* data, std::size_t size, std::size_t count,
                                        void* request) noexcept {
    CNetRequest& self = *static_cast<CNetRequest*>(request);
    const std::size_t length = self.headerHandler(data, size * count);
    if (!self.m_isHTTP && isDataPort({data, length})) {
        self.requestNextStep();
    }
    return length;
}

// When the reply comes at once, libcurl 7.88 has not yet begun to connect at the end of its step: it then has neither a
// socket nor a timer to wait for, and waits for its longest time (1 s). To leave a pause sets a timer of 0 ms.
void CNetRequest::requestNextStep() noexcept {
    curl_easy_pause(m_handle.get(), CURLPAUSE_SEND);
    curl_easy_pause(m_handle.get(), CURLPAUSE_CONT);
}

// ---- receive ---------------------------------------------------------------------------------------------

std::size_t CNetRequest::writeHandler(const char* data, std::size_t size, std::size_t count) noexcept {
    const std::size_t length = size * count;
    // It may take itself off the request.
    const P<IDataSink> sink = m_receiveSink;
    if (!sink) {
        return length;
    }
    // Any count but the offered one makes libcurl stop.
    const std::size_t stop = length == 0 ? 1 : 0;
    const auto write = [&] {
        if (m_lastParsedStatus == -1 && m_isHTTP) {
            parseResponseStatus();
        }
        sink->write(data, static_cast<int>(length), m_lastParsedStatus, getResponseHeaderMap());
        return isBufferBeyondLimit() ? stop : length;
    };
    return guarded(write, stop);
}

bool CNetRequest::isBufferBeyondLimit() {
    const auto isBeyond = [used = m_defaultReceiveBuffer->getUsed()](int64 limit) {
        return limit >= 0 && used > limit;
    };
    if (!isBeyond(m_maxSuccessBytes) && !isBeyond(m_maxFailureBytes)) {
        return false;
    }
    if (!m_isHTTP || isSuccessStatus(getResponseCode())) {
        if (isBeyond(m_maxSuccessBytes)) {
            throw CError("The body of the response is longer than " + String::fromInt(m_maxSuccessBytes) +
                         " bytes.");
        }
        return false;
    }
    m_isBodyCut = isBeyond(m_maxFailureBytes);
    if (m_isBodyCut) {
        m_defaultReceiveBuffer->setUsed(static_cast<int>(m_maxFailureBytes));
    }
    return m_isBodyCut;
}

void CNetRequest::parseResponseStatus() {
    // A status line that could not be read leaves the text of the one before.
    const String none;
    const String& line = m_statusLine == StatusLine::Read ? m_httpStatusLine : none;
    try {
        m_lastParsedStatus = getStatusCodeFromHTTPStatusLine(line);
    } catch (const CError& error) {
        zet::logError(error, "Error parsing HTTP status line - ignoring (statusLine: '" + line +
                                 "', method: '" + m_httpMethod + "', URL: '" + m_url + "')");
        m_lastParsedStatus = 0;
    }
}

std::size_t CNetRequest::headerHandler(const char* data, std::size_t length) noexcept {
    if (!m_isHTTP) {
        m_replies->addLine({data, length});
    }
    static constexpr char ignored[] = "Exception during CNetRequest header parsing (ignored).";
    const std::string_view bytes(data, length);
    const bool wasComplete = m_headerAssembler.isComplete();
    try {
        try {
            handleHeaderLine(bytes);
        } catch (const CError& error) {
            m_hasDroppedHeaderLine |= !wasComplete && isHeaderField(bytes);
            zet::logWarning(error, ignored);
        } catch (const std::exception& error) {
            m_hasDroppedHeaderLine |= !wasComplete || isStatusLine(bytes);
            zet::logWarning(error, ignored);
        } catch (...) {
            m_hasDroppedHeaderLine |= !wasComplete || isStatusLine(bytes);
            zet::logWarning(ignored);
        }
    } catch (...) {
        // Not even the text of the warning could be made.
    }
    return length;
}

void CNetRequest::handleHeaderLine(std::string_view bytes) {
    const bool isStatus = m_isHTTP && isStatusLine(bytes);
    if (isStatus) {
        beginResponse();
    }
    m_headerLine.assignUTF8(bytes);
    if (isStatus) {
        m_httpStatusLine.assign(zet::trimmed(m_headerLine.view()));
        m_statusLine = StatusLine::Read;
    } else if (m_isHTTP) {
        m_headerAssembler.handleHeaderLine(m_headerLine);
    }
    m_responseInfo->addUTF8(bytes);
}

void CNetRequest::beginResponse() noexcept {
    // Told by the bytes of a status line, so that one that cannot be read ends the response before as well.
    if (m_statusLine != StatusLine::None) {
        m_headerAssembler.reset();
    }
    m_statusLine = StatusLine::Unreadable;
    m_hasDroppedHeaderLine = false;
}

void CNetRequest::setReceiveDataSink(IDataSink* sink) {
    // Goes last: it may use the request.
    const P<IDataSink> old = std::exchange(m_receiveSink, sink);
    m_restartableSink = dynamic_cast<IRestartableDataSink*>(sink);
}

void CNetRequest::setReceiveDataStream(zet::IOutStream* stream) {
    // Held first: there may be no memory for the sink.
    const P<zet::IOutStream> keepAlive = stream;
    setReceiveDataSink(stream ? new CStreamDataSink(stream) : nullptr);
}

void CNetRequest::setDefaultReceiveDataStream() {
    setReceiveDataSink(m_defaultReceiveSink);
}

// ---- send ------------------------------------------------------------------------------------------------

std::size_t CNetRequest::readHandler(char* buffer, std::size_t size, std::size_t count) noexcept {
    if (!m_sendSource) {
        return 0;
    }
    const auto read = [&] {
        return static_cast<std::size_t>(readSource(buffer, static_cast<int>(size * count)));
    };
    return guarded(read, std::size_t{CURL_READFUNC_ABORT});
}

int CNetRequest::readSource(void* buffer, int maxLength) {
    // It may take itself off the request.
    const P<IDataSource> source = m_sendSource;
    const int length = source->read(buffer, maxLength, getResponseHeaderMap());
    const bool isCommand = length == CURL_READFUNC_ABORT || length == CURL_READFUNC_PAUSE;
    if ((length < 0 || length > maxLength) && !isCommand) {
        throw CError("The data source returned " + String::fromInt(length) + " bytes where 0 to " +
                     String::fromInt(maxLength) + " were asked for.");
    }
    return isCommand ? length : cutToSendDataSize(length);
}

int CNetRequest::cutToSendDataSize(int length) noexcept {
    // libcurl sends what it is given, also beyond the announced Content-Length: to the server that is the next request.
    if (!m_isHTTP || m_sendDataSize < 0) {
        return length;
    }
    const int sent = static_cast<int>(std::clamp<int64>(m_sendDataSize - m_sendPosition, 0, length));
    m_sendPosition += sent;
    return sent;
}

int CNetRequest::seekHandler(curl_off_t offset, int origin) noexcept {
    if (!m_sendSource) {
        return CURL_SEEKFUNC_FAIL;
    }
    const auto seek = [&]() -> int {
        return seekSource(offset, origin) ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
    };
    return guarded(seek, int{CURL_SEEKFUNC_FAIL});
}

bool CNetRequest::seekSource(int64 offset, int origin) {
    // It may take itself off the request.
    const P<IDataSource> source = m_sendSource;
    switch (origin) {
    case SEEK_SET:
        moveSource(*source, offset);
        return true;
    case SEEK_CUR:
        moveSource(*source, offset + source->getPosition());
        return true;
    case SEEK_END: {
        const int64 size = source->getSize();
        if (size == -1) {
            return false;
        }
        moveSource(*source, offset + size);
        return true;
    }
    default:
        return false;
    }
}

void CNetRequest::moveSource(IDataSource& source, int64 position) {
    source.seek(position);
    m_sendPosition = position;
}

void CNetRequest::setSendDataSource(IDataSource* source) {
    m_sendSource = source;
    m_sendKeepAlive = nullptr;
    if (m_postBody) {
        m_postBody->setSource();
    }
}

void CNetRequest::setSendDataStream(zet::IInStream* stream) {
    // Held first: the stream may be an object that only the old source or this call refers to.
    const P<IBase> keepAlive = stream;
    m_sendSource = stream ? new CStreamDataSource(stream) : nullptr;
    m_sendKeepAlive = keepAlive;
    if (m_postBody) {
        m_postBody->setSource();
    }
}

void CNetRequest::setSendDataBuffer(const TBuffer<unsigned char>* buffer) {
    if (!buffer) {
        throw CInvalidArgError("CNetRequest::setSendDataBuffer", "buffer must not be null");
    }
    // Held first: there may be no memory for the stream.
    const PC<TBuffer<unsigned char>> keepAlive = buffer;
    setSendDataStream(new zet::CBufferStream(buffer));
    setSendDataSize(buffer->getUsed());
}

void CNetRequest::setSendDataAsUTF8(const String& text) {
    const std::string utf8 = text.toUTF8();
    if (utf8.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        zet::throwBufferTooLarge();
    }
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    stream->write(utf8.data(), static_cast<int>(utf8.size()));
    stream->seek(0);
    setSendDataStream(stream);
    setSendDataSize(static_cast<int64>(utf8.size()));
}

// ---- streams as source and sink --------------------------------------------------------------------------

CNetRequest::CStreamDataSource::CStreamDataSource(zet::IInStream* stream) : m_stream(stream) {}

CNetRequest::CStreamDataSource::~CStreamDataSource() = default;

int CNetRequest::CStreamDataSource::read(void* buffer, int maxLength, const TMap<String, String>&) {
    return m_stream->read(buffer, maxLength);
}

int64 CNetRequest::CStreamDataSource::getSize() {
    return m_stream->getSize();
}

void CNetRequest::CStreamDataSource::seek(int64 position) {
    m_stream->seek(position);
}

int64 CNetRequest::CStreamDataSource::getPosition() {
    return m_stream->getPosition();
}

CNetRequest::CStreamDataSink::CStreamDataSink(zet::IOutStream* stream) : m_stream(stream) {}

CNetRequest::CStreamDataSink::~CStreamDataSink() = default;

void CNetRequest::CStreamDataSink::write(const void* data, int length, int, const TMap<String, String>&) {
    m_stream->write(data, length);
}

}  // namespace vexil
