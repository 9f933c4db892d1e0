#include "apps/vexil/Upload.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"
#include "vexil/net/CURLError.h"

namespace vexil::app {

namespace {

constexpr int maxFurtherUploads = 5;
constexpr int statusContinue = 100;

/// Whether the client would have tried again, had no interim answer stood before the failure.
bool isBrokenBehindContinue(const CCURLError& error) {
    if (error.getDomain() != "curl" || error.getResponseCode() != statusContinue) {
        return false;
    }
    const CCURLError withoutAnswer(static_cast<CURLcode>(error.getCode()), "", "", 0, "", "", "", "");
    return CS3Client::shouldRetryRequest(withoutAnswer);
}

}  // namespace

void upload(CContext& context, CFileInStream& file, const String& bucket, const String& key,
            const String& contentType) {
    for (int tries = 1;; ++tries) {
        file.seek(0);
        try {
            context.getClient().putObject(context.getRequest(), bucket, key, &file, file.getSize(),
                                          contentType);
            break;
        } catch (const CCURLError& error) {
            CInterrupt::throwIfRequested();
            if (tries > maxFurtherUploads || !isBrokenBehindContinue(error)) {
                throw;
            }
            context.getConsole().message(Verbosity::Info, "vexil: the upload broke off (" +
                                                              error.getMessage() + "); beginning it again.");
        }
    }
    checkAnswerIsComplete(context);
}

void checkAnswerIsComplete(CContext& context) {
    if (!context.getRequest().isResponseComplete()) {
        throw CError("The connection ended within the headers of the answer.");
    }
}

}  // namespace vexil::app
