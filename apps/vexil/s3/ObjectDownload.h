#pragma once

#include "apps/vexil/files/MD5OutStream.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/transfer/Download.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3SigningDetour.h"

#include <functional>

namespace vexil::app {

class CS3Access;

/// Downloads one object into a stream. An interrupted transfer continues after the last written byte if the
/// object still has the same strong ETag; without a strong ETag it begins with the first byte. If the content
/// does not match the ETag, it is fetched again from the beginning, until the same content comes twice, at
/// most twice.
class CObjectDownload : public IDownload {
public:
    static constexpr int maxRestarts = 2;

    /// The access must outlive it.
    /// \param out  receives the bytes from its current position on; must be able to seek back to each
    ///         position where a transfer has begun
    CObjectDownload(CS3Access& access, const String& bucket, const String& key,
                    const P<zet::IOutStream>& out);

    /// Continues after bytes that an earlier program has left. The next transfer begins after them if the
    /// object still has this ETag, otherwise with the first byte. Must be called before the first prepare().
    /// \param left  the stream that was given to the constructor
    /// \param size  the number of these bytes, less than the size of the object
    void goOn(CPartStream& left, int64 size, const String& eTag);

    /// Refuses an object before its first byte is written. Must be called before the first prepare().
    /// \param isRefused  decides by size and ETag; called on any thread
    void setRefusal(std::function<bool(int64 size, const String& eTag)> isRefused);
    /// Whether the download has failed because the object was refused. The stream is unchanged.
    bool isRefused() const noexcept { return m_isRefused; }

    void prepare(CNetRequest& request) override;
    /// \throws CError if bytes are missing, are not those that were requested, or do not match the ETag
    void checkResponse(CNetRequest& request) override;
    /// \throws CError if another object has replaced this one
    bool canBeginAgain(CNetRequest& request, const CError& error) override;

    /// Follows the service to another URL, region or clock. Begins with the first byte if the bytes of an
    /// earlier program cannot be used.
    bool canFallBack(CNetRequest& request, const CError& error) override;

    int getContinuationCount() const noexcept override { return m_continuations; }

private:
    class COutStream;

    int64 getWrittenBytes() const;
    void checkRefusal();
    void restartOrThrow(const CError& error);
    bool isContinued(const CNetRequest& request) const;
    bool areLeftBytesUseless(CNetRequest& request, const CError& error) const;
    void checkContinuation(const CNetRequest& request);
    void checkContent(CNetRequest& request);
    bool tryToRestart();
    [[noreturn]] void throwReplaced() const;

    CS3Access& m_access;
    String m_bucket;
    String m_key;
    P<COutStream> m_out;
    const int64 m_start;  // position of the object's first byte in the stream
    int64 m_offset = 0;   // where the running transfer begins, within the object
    String m_eTag;        // of the object from which the written bytes are; "" if there are none
    int m_continuations = 0;
    P<CPartStream> m_left;           // bytes that an earlier program has left, or null
    bool m_isLeftConfirmed = false;  // the server has continued after them with the same object
    bool m_hasWrongContent = false;
    String m_wrongMD5;  // of the last wrong content
    int m_restarts = 0;
    const CNetRequest* m_request = nullptr;  // of the running transfer
    std::function<bool(int64 size, const String& eTag)> m_refusal;
    bool m_isRefused = false;
    CS3SigningDetour m_detour;
};

}  // namespace vexil::app
