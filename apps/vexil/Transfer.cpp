#include "apps/vexil/Transfer.h"

#include "apps/vexil/Context.h"

namespace vexil::app {

ITransfer::~ITransfer() = default;

void performTransfer(CContext& context, ITransfer& transfer) {
    CNetRequest& request = context.getRequest();
    for (;;) {
        transfer.prepare(request);
        try {
            context.getClient().performRequest(request);
            transfer.checkAnswer(request);
            break;
        } catch (const CError& error) {
            if (!transfer.canBeginAnew(request, error)) {
                throw;
            }
        }
    }
    releaseStreams(request);
}

void releaseStreams(CNetRequest& request) {
    request.setSendDataSource(nullptr);
    request.setDefaultReceiveDataStream();
}

}  // namespace vexil::app
