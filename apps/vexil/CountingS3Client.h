#pragma once

#include "vexil/s3/S3Client.h"

namespace vexil::app {

/// An S3 client that knows how often it had to try again.
class CCountingS3Client : public CS3Client {
public:
    using CS3Client::CS3Client;
    ~CCountingS3Client() override;

    int64 getRetryCount() const noexcept { return m_retryCount; }

    /// For who performs requests itself: whether performRequest() would try again after this failure, which it
    /// logs, and which counts then.
    /// \param tries  how often it was tried so far, from 1
    bool decideRetry(const CError& error, int tries);

protected:
    void waitBeforeRetry(int milliseconds) override;

private:
    int64 m_retryCount = 0;
};

}  // namespace vexil::app
