/// \file
/// The interfaces through which CNetRequest moves data and reports: its nested classes. NetRequest.h includes
/// this file.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"
#include "zet/Time.h"

#include <curl/curl.h>

namespace vexil {

/// Where a request body comes from. Called on the thread that drives the transfer. An exception from it ends
/// the transfer, and perform() throws it. It may remove itself from the request; it lives until the call
/// returns.
class VEXIL_API CNetRequest::IDataSource : public virtual IBase {
public:
    /// Puts at most `maxLength` bytes into `buffer`.
    /// \param responseHeaders  the response's headers so far, by lower-case name
    /// \return the number of bytes; 0 at the end of the body. CURL_READFUNC_ABORT ends the transfer with
    ///         libcurl's code 42, CURL_READFUNC_PAUSE stops sending until the handle is unpaused. Any other
    ///         number below 0 or above `maxLength` is an error.
    virtual int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) = 0;
    /// Bytes from start to end; -1 if unknown.
    virtual int64 getSize() = 0;
    /// Moves to a position in bytes from the start. libcurl rewinds to send a body again.
    virtual void seek(int64 position) = 0;
    /// Bytes from the start to the next byte to be read.
    virtual int64 getPosition() = 0;

protected:
    ~IDataSource() override;
};

/// Where a response body goes. Called on the thread that drives the transfer, and not at all for an empty
/// body. An exception from it ends the transfer, and perform() throws it. It may remove itself from the
/// request; it lives until the call returns.
class VEXIL_API CNetRequest::IDataSink : public virtual IBase {
public:
    /// Takes a block of the body.
    /// \param httpStatus       status of the response that the block belongs to; 0 if its status line could
    ///                    not be read, -1 for protocols other than HTTP
    /// \param responseHeaders  the headers of that response, by lower-case name
    virtual void write(const void* data, int length, int httpStatus,
                       const TMap<String, String>& responseHeaders) = 0;
    /// Objects are not accepted as content: give the address of their bytes.
    template <zet::ObjectPointer Data>
    void write(const Data& data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) = delete;

protected:
    ~IDataSink() override;
};

/// A sink that can start again, so that its content stays right when a transfer is repeated.
class VEXIL_API CNetRequest::IRestartableDataSink : public virtual IDataSink {
public:
    /// Called before every transfer: drop what an earlier transfer has written. perform() throws an exception
    /// from it before it sends anything.
    virtual void restart() = 0;

protected:
    ~IRestartableDataSink() override;
};

/// Told when a transfer has ended. Called on the thread that drives the transfer.
class VEXIL_API CNetRequest::IDoneListener : public virtual IBase {
public:
    /// \param error  null on success; otherwise valid only during the call. perform() or checkAsyncResult()
    ///               throws it as well. If there is no memory for the error, this is the CError "Out of
    ///               memory.", and perform() throws std::bad_alloc.
    virtual void onDone(CNetRequest* request, CError* error) = 0;

protected:
    ~IDoneListener() override;
};

/// Told about the progress of a transfer. Called on the thread that drives the transfer, at most 20 times a
/// second. An exception from it ends the transfer, and perform() throws it.
class VEXIL_API CNetRequest::ITransferProgress : public virtual IBase {
public:
    /// Bytes of the body in each direction. A total is 0 until it is known. There may be no call for the last
    /// bytes of a transfer: see getDownloadedByteCount() and getUploadedByteCount().
    virtual void onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) = 0;

protected:
    ~ITransferProgress() override;
};

/// Tells the driver of a transfer about cancel(). Any thread.
class VEXIL_API CNetRequest::ICancelWaker : public virtual IBase {
public:
    /// Ends the driver's wait. Called without a lock. Must not throw.
    virtual void wake() noexcept = 0;

protected:
    ~ICancelWaker() override;
};

/// A source over a stream, to which it keeps a reference. Positions and sizes are the stream's.
class VEXIL_API CNetRequest::CStreamDataSource : public virtual CBase, public IDataSource {
public:
    /// \param stream  not null
    explicit CStreamDataSource(zet::IInStream* stream);
    ~CStreamDataSource() override;

    int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) override;
    int64 getSize() override;
    void seek(int64 position) override;
    int64 getPosition() override;

private:
    P<zet::IInStream> m_stream;
};

/// A sink over a stream, to which it keeps a reference. The stream gets the body of every try, and the bodies
/// of errors.
class VEXIL_API CNetRequest::CStreamDataSink : public virtual CBase, public IDataSink {
public:
    /// \param stream  not null
    explicit CStreamDataSink(zet::IOutStream* stream);
    ~CStreamDataSink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;

private:
    P<zet::IOutStream> m_stream;
};

/// One message of libcurl for the verbose log.
struct CNetRequest::CVerboseLogMessage {
    zet::CTime time;                     ///< when libcurl reported it
    curl_infotype type = CURLINFO_TEXT;  ///< libcurl's kind of message
    TBuffer<char> data;                  ///< its bytes, unchanged
    int64 leftOut = 0;                   ///< bytes that were only counted: see setVerboseRecordLimit()
};

}  // namespace vexil
