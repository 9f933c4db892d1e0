#include "apps/vexil/AnswerCheck.h"

#include "zet/ParseNumber.h"

namespace vexil::app {

void checkAnswerIsComplete(const CNetRequest& request) {
    if (!request.isResponseComplete()) {
        throw CError("The connection ended within the headers of the answer.");
    }
}

void checkAnswerLength(const CNetRequest& request, int64 receivedBytes) {
    const String announced = getAnswerHeader(request, "content-length");
    if (!announced.isEmpty() && zet::parseInt64(announced, false) != receivedBytes) {
        throw CError("Received " + String::fromInt(receivedBytes) + " of the " + announced +
                     " bytes that the answer announced.");
    }
}

String getAnswerHeader(const CNetRequest& request, const char* name) {
    const auto& headers = request.getResponseHeaderMap();
    const auto found = headers.find(name);
    return found == headers.end() ? String() : found->second;
}

}  // namespace vexil::app
