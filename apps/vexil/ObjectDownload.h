#pragma once

#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

namespace vexil::app {

class CContext;

/// Downloads one object into a stream. A transfer that breaks goes on behind the last byte written, at most
/// 5 times, and only while the object is the same (by its ETag).
class CObjectDownload {
public:
    static constexpr int maxContinuations = 5;

    /// The context must outlive it.
    CObjectDownload(CContext& context, const String& bucket, const String& key);

    /// \param out  where the bytes go, from where it stands on; able to go back to each place where a transfer
    ///             has begun
    /// \throws CError of the transfer or the stream, or when another object has taken the object's place
    void run(zet::IOutStream& out);

    /// How often it went on, so far.
    int getContinuationCount() const noexcept { return m_continuations; }

private:
    bool canContinue(const CError& error, int64 written);
    void checkContinuation(int64 written) const;
    [[noreturn]] void throwReplaced() const;

    CContext& m_context;
    String m_bucket;
    String m_key;
    String m_eTag;  // of the object that the written bytes are from; "" while there are none
    int m_continuations = 0;
};

}  // namespace vexil::app
