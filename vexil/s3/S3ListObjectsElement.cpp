#include "vexil/s3/S3ListObjectsElement.h"

#include "vexil/s3/S3XmlElements.h"
#include "zet/ParseNumber.h"

namespace vexil {

CS3ListObjectsElement::CS3ListObjectsElement(const wxXmlNode* contentsNode) {
    construct(contentsNode);
}

CS3ListObjectsElement::CS3ListObjectsElement(const CS3XmlElement& contents) {
    contents.forEachChild([this](const CS3XmlElement& child) {
        if (child.getName() == "Key") {
            m_key = child.getFirstText();
        }
    });
    readFields(contents);
    if (m_key.isEmpty()) {
        throw CError("Invalid Amazon S3 list objects element: 'Key' field not defined.");
    }
}

void CS3ListObjectsElement::construct(const wxXmlNode* contentsNode) {
    *this = CS3ListObjectsElement(CS3XmlElements(contentsNode).getRoot());
}

void CS3ListObjectsElement::readFields(const CS3XmlElement& contents) {
    contents.forEachChild([this](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "LastModified") {
            m_lastModified = child.getFirstText();
        } else if (name == "ETag") {
            m_eTag = child.getFirstText();
        } else if (name == "Size") {
            m_size = zet::parseInt64(child.getFirstText(), false);
        }
    });
}

CS3ListObjectsElement::~CS3ListObjectsElement() = default;

}  // namespace vexil
