#pragma once

#include "vexil/s3/S3Client.h"

namespace vexil::app {

/// An S3 client that knows how often it had to try again.
class CCountingS3Client : public CS3Client {
public:
    using CS3Client::CS3Client;
    ~CCountingS3Client() override;

    /// How often a request is tried again, at most; 50 by default. To be set by this and not by setMaxRetries(), which
    /// nobody can ask.
    void setRetryLimit(int count);
    int getRetryLimit() const noexcept { return m_retryLimit; }

    int64 getRetryCount() const noexcept { return m_retryCount; }

    /// For who performs requests itself: whether performRequest() would try again after this failure, which it
    /// logs, and which counts then.
    /// \param tries  how often it was tried so far, from 1
    bool decideRetry(const CError& error, int tries);

protected:
    void waitBeforeRetry(int milliseconds) override;

private:
    int m_retryLimit = 50;
    int64 m_retryCount = 0;
};

}  // namespace vexil::app
