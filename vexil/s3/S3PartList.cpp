#include "vexil/s3/S3PartList.h"

#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/ParseNumber.h"

#include <utility>

namespace vexil {

namespace {

/// -1 for a text that is not a number.
int64 parseNumber(const CS3XmlElement& node) {
    return zet::parseInt64(node.getWholeText().trimmed(), int64{-1});
}

CS3StoredPart readPart(const CS3ResultDocument& document, const CS3XmlElement& node) {
    CS3StoredPart part;
    node.forEachChild([&](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "PartNumber") {
            const int64 number = parseNumber(child);
            part.number = number >= 1 && number <= maxPartNumber ? static_cast<int>(number) : 0;
        } else if (name == "ETag") {
            part.eTag = child.getWholeText();
        } else if (name == "Size") {
            part.size = parseNumber(child);
        } else if (name == "LastModified") {
            part.lastModified = child.getWholeText();
        } else if (name == "ChecksumCRC32C") {
            part.checksumCRC32C = child.getWholeText();
        } else if (name == "ChecksumSHA256") {
            part.checksumSHA256 = child.getWholeText();
        }
    });
    if (part.number < 1) {
        document.fail("a part without a number from 1 to 10000.");
    }
    if (part.size < -1) {
        document.fail("the part " + String::fromInt(part.number) + " has a negative size.");
    }
    return part;
}

}  // namespace

CS3PartList::CS3PartList(std::string_view text) {
    const CS3ResultDocument document(text, "list parts", "ListPartsResult", maxListingBytes);
    int64 sentMarker = 0;
    document.getRoot().forEachChild([&](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "Part") {
            m_parts.push_back(readPart(document, child));
        } else if (name == "IsTruncated") {
            m_isTruncated = document.parseBoolean(child);
        } else if (name == "NextPartNumberMarker") {
            sentMarker = parseNumber(child);
        }
    });
    const int last = m_parts.empty() ? 0 : m_parts.back().number;
    m_nextMarker = sentMarker >= 1 && sentMarker <= maxPartNumber ? static_cast<int>(sentMarker) : last;
}

CS3PartList::CS3PartList(const TBuffer<unsigned char>* body) : CS3PartList(getText(*body)) {}

CS3PartList::~CS3PartList() = default;

}  // namespace vexil
