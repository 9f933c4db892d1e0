#include "vexil/net/TransferBuffers.h"

#include "vexil/net/NetRequest.h"

namespace vexil {

namespace {

constexpr int maxSize = 2 * 1024 * 1024;

void check(const char* name, int size, int least) {
    if (size < least || size > maxSize) {
        throw CInvalidArgError("setTransferBuffers", String(name) + " must be " + String::fromInt(least) +
                                                         " to " + String::fromInt(maxSize));
    }
}

}  // namespace

void setTransferBuffers(CNetRequest& request, const CTransferBuffers& sizes) {
    // libcurl takes other sizes silently for the nearest ones.
    check("receive", sizes.receive, 1024);
    check("send", sizes.send, 16'384);
    request.setOptionInt(CURLOPT_BUFFERSIZE, sizes.receive);
    request.setOptionInt(CURLOPT_UPLOAD_BUFFERSIZE, sizes.send);
}

}  // namespace vexil
