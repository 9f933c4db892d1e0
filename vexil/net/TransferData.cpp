#include "vexil/net/TransferData.h"

namespace vexil {

CNetRequest::IDataSource::~IDataSource() = default;

CNetRequest::IDataSink::~IDataSink() = default;

CNetRequest::IRestartableDataSink::~IRestartableDataSink() = default;

CNetRequest::IDoneListener::~IDoneListener() = default;

CNetRequest::ITransferProgress::~ITransferProgress() = default;

CNetRequest::ICancelWaker::~ICancelWaker() = default;

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
