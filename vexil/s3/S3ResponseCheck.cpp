#include "vexil/s3/S3ResponseCheck.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3CopyObjectResult.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3URL.h"

namespace vexil {

void checkResponseIsComplete(const CNetRequest& request) {
    if (request.hasDroppedHeaderLine()) {
        throw makeTransientError("A header line of the response could not be read.");
    }
    // For libcurl, a connection that ends within the headers is the end of a response without a body.
    if (!request.isResponseComplete()) {
        throw makeTransientError("The connection ended within the headers of the response.");
    }
}

void throwCopyError(CNetRequest& request) {
    if (CS3URL::parse(request.getURL()).query.find("uploadId=") != String::npos) {
        (void)CS3Client::readCopiedPartETag(*request.getDefaultReceiveBuffer());
        return;
    }
    const CS3CopyObjectResult result(request.getDefaultReceiveBuffer());
    if (result.hadError()) {
        throw CS3Error(*result.getErrorResponse(), 0, request.getURL(), request.getHTTPMethod());
    }
}

}  // namespace vexil
