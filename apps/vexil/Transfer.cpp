#include "apps/vexil/Transfer.h"

#include "apps/vexil/Context.h"

#include <algorithm>

namespace vexil::app {

namespace {

/// What is left of a client's retries, for one transfer of several requests. The client gets its limit back at the end.
class CRetryAllowance {
public:
    explicit CRetryAllowance(CCountingS3Client& client)
        : m_client(client), m_limit(client.getRetryLimit()), m_countBefore(client.getRetryCount()) {}
    ~CRetryAllowance() { m_client.setRetryLimit(m_limit); }
    CRetryAllowance(const CRetryAllowance&) = delete;
    CRetryAllowance& operator=(const CRetryAllowance&) = delete;

    void useOne() noexcept { ++m_used; }
    int getRest() const noexcept {
        return static_cast<int>(
            std::max<int64>(0, m_limit - m_used - (m_client.getRetryCount() - m_countBefore)));
    }

private:
    CCountingS3Client& m_client;
    const int m_limit;
    const int64 m_countBefore;
    int m_used = 0;
};

}  // namespace

ITransfer::~ITransfer() = default;

bool ITransfer::canFallBack(CNetRequest&, const CError&) {
    return false;
}

void performTransfer(CContext& context, ITransfer& transfer) {
    CNetRequest& request = context.getRequest();
    CRetryAllowance allowance(context.getClient());
    for (;;) {
        transfer.prepare(request);
        context.getClient().setRetryLimit(allowance.getRest());
        try {
            context.getClient().performRequest(request);
            transfer.checkAnswer(request);
            break;
        } catch (const CError& error) {
            if (allowance.getRest() == 0 || !transfer.canBeginAnew(request, error)) {
                throw;
            }
            allowance.useOne();
        }
    }
    releaseStreams(request);
}

void releaseStreams(CNetRequest& request) {
    request.setSendDataSource(nullptr);
    request.setDefaultReceiveDataStream();
}

}  // namespace vexil::app
