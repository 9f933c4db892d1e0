#include "vexil/net/NetRequestParts.h"
#include "vexil/net/SendSource.h"

#include <algorithm>
#include <limits>
#include <string>

namespace vexil {

namespace {

/// Whether a reply of an FTP server names the port of a data connection, to which libcurl connects next.
bool isDataPort(std::string_view bytes) {
    return bytes.starts_with("229 ") || bytes.starts_with("227 ");
}

/// Keeps an exception of the handler for the end of the transfer.
template <class Handler, class Failure>
Failure guarded(CAsyncState& async, Handler handler, Failure failure) noexcept {
    try {
        return handler();
    } catch (...) {
        async.keepCurrentException();
        return failure;
    }
}

}  // namespace

// ---- callbacks -------------------------------------------------------------------------------------------

std::size_t CNetRequestCallbacks::write(char* data, std::size_t size, std::size_t count,
                                        void* request) noexcept {
    return static_cast<CNetRequest*>(request)->writeHandler(data, size, count);
}

std::size_t CNetRequestCallbacks::read(char* buffer, std::size_t size, std::size_t count,
                                       void* request) noexcept {
    return static_cast<CNetRequest*>(request)->readHandler(buffer, size, count);
}

int CNetRequestCallbacks::seek(void* request, curl_off_t offset, int origin) noexcept {
    return static_cast<CNetRequest*>(request)->seekHandler(offset, origin);
}

std::size_t CNetRequestCallbacks::header(char* data, std::size_t size, std::size_t count,
                                         void* request) noexcept {
    CNetRequest& self = *static_cast<CNetRequest*>(request);
    const std::size_t length = self.headerHandler(data, size * count);
    if (!self.m_parts->isHTTP && isDataPort({data, length})) {
        // If the reply comes at once, libcurl 7.88 has not yet begun to connect at the end of its step. It
        // then has neither a socket nor a timer to wait for, and waits for its longest time (1 s).
        self.m_parts->curl.requestNextStep();
    }
    return length;
}

int CNetRequestCallbacks::progress(void* request, curl_off_t downloadTotal, curl_off_t downloaded,
                                   curl_off_t uploadTotal, curl_off_t uploaded) noexcept {
    return static_cast<CNetRequest*>(request)->progressHandler(downloadTotal, downloaded, uploadTotal,
                                                               uploaded);
}

int CNetRequest::_curlDebugFunctionCallback(void* handle, curl_infotype type, char* data, std::size_t size,
                                            void* request) noexcept {
    if (request) {
        try {
            static_cast<CNetRequest*>(request)->onLogDebugMessage(handle, type, data, size);
        } catch (...) {
            // The log must not end a transfer: it lacks a message that cannot be recorded.
        }
    }
    return 0;
}

void CNetRequest::onLogDebugMessage(void* handle, curl_infotype type, char* data, std::size_t size) {
    if (handle == m_handle && m_parts->verboseLog.isOn()) {
        m_parts->verboseLog.add(type, {data, size});
    }
}

int CNetRequest::progressHandler(int64 downloadTotal, int64 downloaded, int64 uploadTotal,
                                 int64 uploaded) noexcept {
    CNetRequestParts& parts = *m_parts;
    const auto report = [&] {
        parts.watch.report(downloaded, downloadTotal, uploaded, uploadTotal);
        return true;
    };
    if (!guarded(parts.async, report, false)) {
        return 1;
    }
    if (parts.rate && !parts.rate->wait()) {
        parts.watch.requestCancel();
    }
    const bool isCancelled = parts.watch.checkCancelled();
    if (isCancelled && !parts.isHTTP) {
        // libcurl keeps a connection that it leaves while it waits for the reply to a file or a mail. The
        // next transfer would take that reply for its own. restoreReuse() ends this.
        parts.curl.trySetOption(CURLOPT_FORBID_REUSE, 1L);
    }
    return isCancelled ? 1 : 0;
}

// ---- receive ---------------------------------------------------------------------------------------------

std::size_t CNetRequest::writeHandler(const char* data, std::size_t size, std::size_t count) noexcept {
    const auto deliver = CNetRequestCallbacks::isLimited(*this) ? &CNetRequestCallbacks::deliverLimited
                                                                : &CNetRequestCallbacks::deliver;
    return deliver(*this, data, size * count);
}

std::size_t CNetRequestCallbacks::deliver(CNetRequest& request, const char* data,
                                          std::size_t length) noexcept {
    CNetRequestParts& parts = *request.m_parts;
    // It may remove itself from the request.
    const P<CNetRequest::IDataSink> sink = parts.responseBody.getSink();
    if (!sink) {
        return length;
    }
    // libcurl stops unless it gets the number of bytes that it has offered.
    const std::size_t stop = length == 0 ? 1 : 0;
    const auto write = [&] {
        int status = parts.responseHead.getLastReadStatus();
        if (status == -1 && parts.isHTTP) {
            status = parts.responseHead.readStatus(parts.httpMethod, parts.curl.getURL());
        }
        if (parts.responseBody.isAtBeginning()) {
            parts.refuseTooLargeBody();
        }
        sink->write(data, static_cast<int>(length), status, parts.responseHead.getHeaders());
        const bool isCut =
            parts.responseBody.isBeyondALimit() &&
            parts.responseBody.applyLimit(!parts.isHTTP || isSuccessStatus(request.getResponseCode()));
        return isCut ? stop : length;
    };
    return guarded(parts.async, write, stop);
}

std::size_t CNetRequestCallbacks::deliverLimited(CNetRequest& request, const char* data,
                                                 std::size_t length) noexcept {
    CRequestRate& rate = *request.m_parts->rate;
    if (length == 0 || rate.hasFailed()) {
        return length == 0 ? deliver(request, data, length) : 0;
    }
    std::size_t taken = std::min(rate.getTakenOfBlock(), length);
    while (taken < length) {
        const std::size_t turn = rate.takeDownload(length - taken);
        if (turn == 0) {
            rate.setTakenOfBlock(taken);
            return CURL_WRITEFUNC_PAUSE;
        }
        if (deliver(request, data + taken, turn) != turn) {
            return 0;
        }
        taken += turn;
    }
    rate.setTakenOfBlock(0);
    return length;
}

void CNetRequestParts::refuseTooLargeBody() const {
    const int64 size = curl.getInt64(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
    if (size <= std::numeric_limits<int>::max()) {
        return;
    }
    const bool isSuccess = !isHTTP || isSuccessStatus(static_cast<int>(curl.getLong(CURLINFO_RESPONSE_CODE)));
    // The announced size is not that of the decoded body.
    const bool isEncoded = responseHead.getHeaders().contains("content-encoding");
    if (!isEncoded && responseBody.isTooLarge(size, isSuccess)) {
        zet::throwBufferTooLarge();
    }
}

std::size_t CNetRequest::headerHandler(const char* data, std::size_t length) noexcept {
    m_parts->responseHead.addLine({data, length}, m_parts->isHTTP);
    return length;
}

void CNetRequest::setReceiveDataSink(IDataSink* sink) {
    m_parts->responseBody.setSink(sink);
}

void CNetRequest::setReceiveDataStream(zet::IOutStream* stream) {
    // Kept first: there may be no memory for the sink.
    const P<zet::IOutStream> keepAlive = stream;
    setReceiveDataSink(stream ? new CStreamDataSink(stream) : nullptr);
}

void CNetRequest::setDefaultReceiveDataStream() {
    m_parts->responseBody.setDefaultSink();
}

bool CNetRequest::usesDefaultReceiveBuffer() const noexcept {
    return m_parts->responseBody.usesDefaultSink();
}

PC<TBuffer<unsigned char>> CNetRequest::getDefaultReceiveBuffer() const {
    return m_parts->responseBody.getBuffer();
}

P<CNetRequest::IDataSink> CNetRequest::getDefaultReceiveSink() const {
    return m_parts->responseBody.getDefaultSink();
}

std::span<const std::byte> CNetRequest::getReceivedBytes() const noexcept {
    const TBuffer<unsigned char>& buffer = *m_parts->responseBody.getBuffer();
    return std::as_bytes(std::span(buffer.getData(), static_cast<std::size_t>(buffer.getUsed())));
}

std::string_view CNetRequest::getReceivedText() const noexcept {
    const std::span<const std::byte> bytes = getReceivedBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void CNetRequest::setReceiveBufferLimits(int64 success, int64 failure) {
    m_parts->responseBody.setLimits(success, failure);
}

void CNetRequest::setServerInfoToUpdate(CServerInfo* info) {
    m_parts->responseHead.setServerInfoToUpdate(info);
}

// ---- send ------------------------------------------------------------------------------------------------

std::size_t CNetRequest::readHandler(char* buffer, std::size_t size, std::size_t count) noexcept {
    if (!m_parts->requestBody.hasSource()) {
        return 0;
    }
    const auto fetch = CNetRequestCallbacks::isLimited(*this) ? &CNetRequestCallbacks::fetchLimited
                                                              : &CNetRequestCallbacks::fetch;
    return fetch(*this, buffer, size * count);
}

std::size_t CNetRequestCallbacks::fetch(CNetRequest& request, char* buffer, std::size_t length) noexcept {
    CNetRequestParts& parts = *request.m_parts;
    const auto read = [&] {
        return static_cast<std::size_t>(parts.requestBody.read(
            buffer, static_cast<int>(length), parts.responseHead.getHeaders(), parts.isHTTP));
    };
    return guarded(parts.async, read, std::size_t{CURL_READFUNC_ABORT});
}

std::size_t CNetRequestCallbacks::fetchLimited(CNetRequest& request, char* buffer,
                                               std::size_t length) noexcept {
    CRequestRate& rate = *request.m_parts->rate;
    rate.setSourcePaused(false);
    if (rate.hasFailed()) {
        return CURL_READFUNC_ABORT;
    }
    const std::size_t turn = rate.takeUpload(length);
    if (turn == 0) {
        return CURL_READFUNC_PAUSE;
    }
    const std::size_t fetched = fetch(request, buffer, turn);
    rate.setSourcePaused(fetched == CURL_READFUNC_PAUSE);
    rate.giveBackUpload(fetched <= turn ? turn - fetched : turn);
    return fetched;
}

int CNetRequest::seekHandler(curl_off_t offset, int origin) noexcept {
    if (!m_parts->requestBody.hasSource()) {
        return CURL_SEEKFUNC_FAIL;
    }
    const auto seek = [&]() -> int {
        return m_parts->requestBody.seek(offset, origin) ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
    };
    return guarded(m_parts->async, seek, int{CURL_SEEKFUNC_FAIL});
}

void CNetRequest::setSendDataSource(IDataSource* source) {
    m_parts->requestBody.setSource(source, nullptr);
}

P<CNetRequest::IDataSource> CNetRequestCallbacks::getSource(const CNetRequest& request) {
    return request.m_parts->requestBody.getSource();
}

P<CNetRequest::IDataSource> getSendDataSource(const CNetRequest& request) {
    return CNetRequestCallbacks::getSource(request);
}

void CNetRequest::setSendDataStream(zet::IInStream* stream) {
    // Kept first: only the old source or this call may refer to the stream.
    const P<IBase> keepAlive = stream;
    m_parts->requestBody.setSource(stream ? new CStreamDataSource(stream) : nullptr, stream);
}

void CNetRequest::setSendDataBuffer(const TBuffer<unsigned char>* buffer) {
    if (!buffer) {
        throw CInvalidArgError("CNetRequest::setSendDataBuffer", "buffer must not be null");
    }
    // Kept first: there may be no memory for the stream.
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

void CNetRequest::setSendDataSize(int64 size) {
    m_parts->requestBody.setSize(size, m_parts->isPost());
}

}  // namespace vexil
