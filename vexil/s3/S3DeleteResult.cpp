#include "vexil/s3/S3DeleteResult.h"

#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3XmlDocument.h"
#include "vexil/s3/S3XmlReduction.h"

#include <utility>

namespace vexil {

namespace {

constexpr char errorPrefix[] = "Error parsing Amazon S3 'delete objects' result: ";

}  // namespace

CS3DeleteResult::CS3DeleteResult(wxXmlNode* root) {
    construct(root);
}

CS3DeleteResult::CS3DeleteResult(const char* data, int length) {
    const CS3XmlDocument document(data, length, maxListingBytes, errorPrefix, S3XmlWhiteSpace::Kept);
    construct(document.getRoot());
}

CS3DeleteResult::CS3DeleteResult(const TBuffer<unsigned char>* body)
    : CS3DeleteResult(reinterpret_cast<const char*>(body->getData()), body->getUsed()) {}

CS3DeleteResult::~CS3DeleteResult() = default;

void CS3DeleteResult::construct(wxXmlNode* root) {
    const String rootName = getXmlName(root);
    if (rootName == "Error") {
        throw CS3Error(CS3ErrorResponse(root), 0);
    }
    if (rootName != "DeleteResult") {
        throw CError(String(errorPrefix) + "unknown root element '" + rootName + "'.");
    }
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "Error") {
            addError(child);
        } else if (name == "Deleted") {
            addDeleted(child);
        }
    });
}

void CS3DeleteResult::addError(wxXmlNode* node) {
    CS3DeleteError error;
    forEachXmlChild(node, [&error](const String& name, wxXmlNode* child) {
        if (name == "Key") {
            error.key = getXmlWholeText(child);
        } else if (name == "VersionId") {
            error.versionId = getXmlWholeText(child);
        } else if (name == "Code") {
            error.code = getXmlWholeText(child);
        } else if (name == "Message") {
            error.message = getXmlWholeText(child);
        }
    });
    if (error.key.isEmpty()) {
        throw CError(String(errorPrefix) + "an error without a key.");
    }
    m_errors.push_back(std::move(error));
}

void CS3DeleteResult::addDeleted(wxXmlNode* node) {
    forEachXmlChild(node, [this](const String& name, wxXmlNode* child) {
        if (name == "Key") {
            m_deletedKeys.push_back(getXmlWholeText(child));
        }
    });
}

}  // namespace vexil
