#include "vexil/s3/S3ErrorResponse.h"

#include "vexil/s3/S3XmlDocument.h"
#include "vexil/s3/S3XmlReduction.h"

namespace vexil {

CS3ErrorResponse::CS3ErrorResponse(const String& code, const String& message, const String& resource,
                                   const String& requestId)
    : m_code(code), m_message(message), m_resource(resource), m_requestId(requestId) {}

CS3ErrorResponse::CS3ErrorResponse(wxXmlNode* root) {
    construct(root);
}

CS3ErrorResponse::CS3ErrorResponse(const char* data, int length) {
    const CS3XmlDocument document(data, length, maxErrorDocumentBytes,
                                  "Error parsing Amazon S3 error response: ");
    construct(document.getRoot());
}

CS3ErrorResponse::~CS3ErrorResponse() = default;

void CS3ErrorResponse::construct(wxXmlNode* root) {
    if (getXmlName(root) != "Error") {
        throw CError("Error parsing Amazon S3 error result: root element is not 'Error'.");
    }
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "Code") {
            m_code = getXmlText(child);
        } else if (name == "Message") {
            m_message = getXmlText(child);
        } else if (name == "Resource") {
            m_resource = getXmlText(child);
        } else if (name == "RequestId") {
            m_requestId = getXmlText(child);
        } else if (name == "Region") {
            m_region = getXmlText(child);
        }
    });
}

P<CS3ErrorResponse> CS3ErrorResponse::createObjectNotFoundResponse(const String& resource) {
    return new CS3ErrorResponse("NoSuchKey", "The resource you requested does not exist", resource,
                                "#dummy#");
}

}  // namespace vexil
