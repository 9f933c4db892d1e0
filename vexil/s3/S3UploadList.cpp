#include "vexil/s3/S3UploadList.h"

#include "vexil/s3/S3ResultDocument.h"

#include <utility>

namespace vexil {

CS3UploadList::CS3UploadList(std::string_view document) {
    static constexpr CNames names{"list uploads", "ListMultipartUploadsResult", "UploadId",
                                  "NextUploadIdMarker"};
    read(document, names, {"Upload"},
         [this](const wxXmlNode* node, const String& key) { addUpload(node, key); });
}

CS3UploadList::CS3UploadList(const TBuffer<unsigned char>* body) : CS3UploadList(getText(*body)) {}

CS3UploadList::~CS3UploadList() = default;

void CS3UploadList::addUpload(const wxXmlNode* node, const String& key) {
    CS3PendingUpload upload;
    upload.key = key;
    forEachXmlChild(node, [&upload](const String& name, const wxXmlNode* child) {
        if (name == "UploadId") {
            upload.uploadId = getXmlWholeText(child);
        } else if (name == "Initiated") {
            upload.initiated = getXmlWholeText(child);
        } else if (name == "StorageClass") {
            upload.storageClass = getXmlWholeText(child);
        }
    });
    if (upload.uploadId.isEmpty()) {
        throw CError("Error parsing Amazon S3 'list uploads' result: an upload without an ID.");
    }
    m_uploads.push_back(std::move(upload));
}

}  // namespace vexil
