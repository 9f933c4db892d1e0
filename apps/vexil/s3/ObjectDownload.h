#pragma once

#include "apps/vexil/files/FileOutStream.h"
#include "apps/vexil/files/MD5OutStream.h"
#include "apps/vexil/transfer/Download.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

class CContext;

/// Downloads one object into a stream. A transfer that breaks goes on after the last byte written while
/// the object is the same (by its ETag); without a strong ETag it begins with the first byte. Content that is not what the ETag stands for is
/// fetched again from the beginning, until the same comes twice, at most twice.
class CObjectDownload : public IDownload {
public:
    static constexpr int maxRestarts = 2;

    /// The context must outlive it.
    /// \param out  where the bytes go, from where it stands on; able to go back to each place where a transfer
    ///             has begun
    CObjectDownload(CContext& context, const String& bucket, const String& key,
                    const P<zet::IOutStream>& out);

    /// Takes over what an earlier program has left of the object. The next transfer goes on after it if the object still has
    /// this ETag, and otherwise begins with the first byte. For before the first prepare().
    /// \param left  the stream that was given to the constructor
    /// \param size  how many bytes of it, less than the object has
    void goOn(CFileOutStream& left, int64 size, const String& eTag);

    void prepare(CNetRequest& request) override;
    /// \throws CError when bytes are missing, or are others than those that were asked for, or the whole is not what the
    ///         ETag stands for
    void checkAnswer(CNetRequest& request) override;
    /// \throws CError when another object has taken the object's place
    bool canBeginAnew(CNetRequest& request, const CError& error) override;

    /// Begins with the first byte if what an earlier program has left is of no use.
    bool canFallBack(CNetRequest& request, const CError& error) override;

    int getContinuationCount() const noexcept override { return m_continuations; }

private:
    int64 getWrittenBytes() const;
    void restartOrThrow(const CError& error);
    bool isContinued(const CNetRequest& request) const;
    bool areLeftBytesUseless(CNetRequest& request, const CError& error) const;
    void checkContinuation(const CNetRequest& request);
    void checkContent(CNetRequest& request);
    bool tryToRestart();
    [[noreturn]] void throwReplaced() const;

    CContext& m_context;
    String m_bucket;
    String m_key;
    P<CMD5OutStream> m_out;
    const int64 m_start;  // of the object, in the stream
    int64 m_offset = 0;   // where the transfer that runs begins, in the object
    String m_eTag;        // of the object that the written bytes are from; "" while there are none
    int m_continuations = 0;
    P<CFileOutStream> m_left;        // with bytes of an earlier program in it; null if there are none
    bool m_isLeftConfirmed = false;  // the server has gone on after them with the same object
    bool m_hasWrongContent = false;
    String m_wrongMD5;  // of the last content that was not right
    int m_restarts = 0;
};

}  // namespace vexil::app
