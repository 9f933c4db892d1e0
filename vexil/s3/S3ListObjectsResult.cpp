#include "vexil/s3/S3ListObjectsResult.h"

#include "vexil/s3/S3XmlDocument.h"

namespace vexil {

namespace {

bool parseIsTruncated(const String& text) {
    const String value = text.toLower();
    if (value != "true" && value != "false") {
        throw CError("Bad value for 'IsTruncated' S3 list objects result element: '" + value + "'");
    }
    return value == "true";
}

}  // namespace

CS3ListObjectsResult::CS3ListObjectsResult(wxXmlNode* root) {
    construct(root);
}

CS3ListObjectsResult::CS3ListObjectsResult(const char* data, int length) {
    construct(data, length);
}

CS3ListObjectsResult::CS3ListObjectsResult(const TBuffer<unsigned char>* body)
    : CS3ListObjectsResult(reinterpret_cast<const char*>(body->getData()), body->getUsed()) {}

CS3ListObjectsResult::~CS3ListObjectsResult() = default;

void CS3ListObjectsResult::construct(const char* data, int length) {
    const CS3XmlDocument document(data, length, "Error parsing Amazon S3 'list objects' result: ");
    construct(document.getRoot());
}

void CS3ListObjectsResult::construct(wxXmlNode* root) {
    if (getXmlName(root) != "ListBucketResult") {
        throw CError("Error parsing Amazon S3 'list objects' result: root element is not ListBucketResult.");
    }
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "Contents") {
            m_objects.emplace_back(new CS3ListObjectsElement(child));
        } else if (name == "CommonPrefixes") {
            parseCommonPrefixes(child);
        } else if (name == "IsTruncated") {
            m_isTruncated = parseIsTruncated(getXmlText(child));
        } else if (name == "NextMarker") {
            m_nextMarker = getXmlText(child);
        }
    });
}

void CS3ListObjectsResult::parseCommonPrefixes(wxXmlNode* node) {
    forEachXmlChild(node, [this](const String& name, wxXmlNode* child) {
        if (name == "Prefix") {
            m_commonPrefixes.push_back(getXmlText(child));
        }
    });
}

}  // namespace vexil
