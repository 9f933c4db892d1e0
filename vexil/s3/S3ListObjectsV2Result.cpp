#include "vexil/s3/S3ListObjectsV2Result.h"

#include "vexil/s3/S3ListingText.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlElements.h"

namespace vexil {

CS3ListObjectsV2Result::CS3ListObjectsV2Result(std::string_view document) {
    const auto readToken = [this](const CS3XmlElement& root) {
        root.forEachChild([this](const CS3XmlElement& child) {
            if (child.getName() == "NextContinuationToken") {
                m_nextToken = readListedName(child.getBytes(), false).bytes;
            }
        });
    };
    constructEncoded(document, readToken);
}

CS3ListObjectsV2Result::CS3ListObjectsV2Result(const TBuffer<unsigned char>* body)
    : CS3ListObjectsV2Result(getText(*body)) {}

CS3ListObjectsV2Result::~CS3ListObjectsV2Result() = default;

}  // namespace vexil
