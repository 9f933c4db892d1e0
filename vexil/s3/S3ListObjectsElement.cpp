#include "vexil/s3/S3ListObjectsElement.h"

#include "vexil/s3/S3XmlDocument.h"
#include "zet/ParseNumber.h"

namespace vexil {

CS3ListObjectsElement::CS3ListObjectsElement(const wxXmlNode* contentsNode) {
    construct(contentsNode);
    if (m_key.isEmpty()) {
        throw CError("Invalid Amazon S3 list objects element: 'Key' field not defined.");
    }
}

void CS3ListObjectsElement::construct(const wxXmlNode* contentsNode) {
    forEachXmlChild(contentsNode, [this](const String& name, wxXmlNode* child) {
        if (name == "Key") {
            m_key = getXmlText(child);
        } else if (name == "LastModified") {
            m_lastModified = getXmlText(child);
        } else if (name == "ETag") {
            m_eTag = getXmlText(child);
        } else if (name == "Size") {
            m_size = zet::parseInt64(getXmlText(child), false);
        }
    });
}

CS3ListObjectsElement::~CS3ListObjectsElement() = default;

}  // namespace vexil
