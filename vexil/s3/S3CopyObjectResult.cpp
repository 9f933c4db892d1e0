#include "vexil/s3/S3CopyObjectResult.h"

#include "vexil/s3/S3XmlDocument.h"
#include "vexil/s3/S3XmlReduction.h"

namespace vexil {

CS3CopyObjectResult::CS3CopyObjectResult(wxXmlNode* root) {
    construct(root);
}

CS3CopyObjectResult::CS3CopyObjectResult(const char* data, int length) {
    construct(data, length);
}

CS3CopyObjectResult::CS3CopyObjectResult(const TBuffer<unsigned char>* body)
    : CS3CopyObjectResult(reinterpret_cast<const char*>(body->getData()), body->getUsed()) {}

CS3CopyObjectResult::~CS3CopyObjectResult() = default;

void CS3CopyObjectResult::construct(const char* data, int length) {
    const CS3XmlDocument document(data, length, maxErrorDocumentBytes,
                                  "Error parsing Amazon S3 'copy object' result: ");
    construct(document.getRoot());
}

void CS3CopyObjectResult::construct(wxXmlNode* root) {
    const String rootName = getXmlName(root);
    if (rootName == "Error") {
        m_errorResponse = new CS3ErrorResponse(root);
        return;
    }
    if (rootName != "CopyObjectResult") {
        throw CError("Error parsing Amazon S3 'copy object' result: unknown root element '" + rootName +
                     "'.");
    }
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "LastModified") {
            m_lastModified = getXmlText(child);
        } else if (name == "ETag") {
            m_eTag = getXmlText(child);
        }
    });
}

}  // namespace vexil
