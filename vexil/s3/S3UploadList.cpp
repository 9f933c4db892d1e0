#include "vexil/s3/S3UploadList.h"

#include "vexil/s3/S3ResultDocument.h"

#include <utility>

namespace vexil {

CS3UploadList::CS3UploadList(std::string_view document) {
    static constexpr CNames names{"list uploads", "ListMultipartUploadsResult", "UploadId",
                                  "NextUploadIdMarker"};
    read(document, names, {"Upload"},
         [this](const CS3XmlElement& element, const String& key) { addUpload(element, key); });
}

CS3UploadList::CS3UploadList(const TBuffer<unsigned char>* body) : CS3UploadList(getText(*body)) {}

CS3UploadList::~CS3UploadList() = default;

void CS3UploadList::addUpload(const CS3XmlElement& element, const String& key) {
    CS3PendingUpload upload;
    upload.key = key;
    element.forEachChild([&upload](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "UploadId") {
            upload.uploadId = child.getWholeText();
        } else if (name == "Initiated") {
            upload.initiated = child.getWholeText();
        } else if (name == "StorageClass") {
            upload.storageClass = child.getWholeText();
        }
    });
    if (upload.uploadId.isEmpty()) {
        throw CError("Error parsing Amazon S3 'list uploads' result: an upload without an ID.");
    }
    m_uploads.push_back(std::move(upload));
}

void CS3UploadList::addUpload(const wxXmlNode* node, const String& key) {
    addUpload(CS3XmlElements(node).getRoot(), key);
}

}  // namespace vexil
