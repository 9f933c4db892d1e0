#include "vexil/s3/S3ListVersionsResult.h"

#include "vexil/s3/S3ResultDocument.h"
#include "zet/ParseNumber.h"

#include <utility>

namespace vexil {

CS3ListVersionsResult::CS3ListVersionsResult(std::string_view document) {
    static constexpr CNames names{"list versions", "ListVersionsResult", "VersionId", "NextVersionIdMarker"};
    read(document, names, {"Version", "DeleteMarker"},
         [this](const CS3XmlElement& element, const String& key) { addVersion(element, key); });
}

CS3ListVersionsResult::CS3ListVersionsResult(const TBuffer<unsigned char>* body)
    : CS3ListVersionsResult(getText(*body)) {}

CS3ListVersionsResult::~CS3ListVersionsResult() = default;

void CS3ListVersionsResult::addVersion(const CS3XmlElement& element, const String& key) {
    CS3ObjectVersion version;
    version.key = key;
    version.isDeleteMarker = element.getName() == "DeleteMarker";
    element.forEachChild([&version](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        const String text = child.getWholeText();
        if (name == "VersionId") {
            version.versionId = text;
        } else if (name == "IsLatest") {
            version.isLatest = text.trimmed().toLower() == "true";
        } else if (name == "LastModified") {
            version.lastModified = text;
        } else if (name == "ETag") {
            version.eTag = text;
        } else if (name == "Size") {
            version.size = zet::parseInt64(text, true);
        } else if (name == "StorageClass") {
            version.storageClass = text;
        }
    });
    m_versions.push_back(std::move(version));
}

void CS3ListVersionsResult::addVersion(const wxXmlNode* node, const String& key) {
    addVersion(CS3XmlElements(node).getRoot(), key);
}

}  // namespace vexil
