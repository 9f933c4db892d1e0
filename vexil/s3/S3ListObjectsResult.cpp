#include "vexil/s3/S3ListObjectsResult.h"

#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3ListingText.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlDocument.h"
#include "vexil/s3/S3XmlReduction.h"

#include <string>
#include <utility>

namespace vexil {

namespace {

constexpr char errorPrefix[] = "Error parsing Amazon S3 'list objects' result: ";

bool parseIsTruncated(const String& text) {
    const String value = text.toLower();
    if (value != "true" && value != "false") {
        throw CError("Bad value for 'IsTruncated' S3 list objects result element: '" + value + "'");
    }
    return value == "true";
}

void checkRoot(const wxXmlNode* root) {
    if (getXmlName(root) != "ListBucketResult") {
        throw CError("Error parsing Amazon S3 'list objects' result: root element is not ListBucketResult.");
    }
}

/// Checks that the names of a listing ascend and have the prefix.
class CNameOrder {
public:
    /// \param what  kind of name, for messages: "key"
    CNameOrder(const char* what, const String& prefix, const String& last)
        : m_what(what), m_prefix(prefix), m_last(last), m_lastBytes(last.toUTF8()) {}

    void verify(const String& name) {
        if (!name.startsWith(m_prefix)) {
            throw CError(String("The listing has the ") + m_what + " '" + name +
                         "', which does not begin with '" + m_prefix + "'.");
        }
        std::string bytes = name.toUTF8();
        // Compare bytes: on Windows, the order of wchar_t texts differs.
        if (bytes <= m_lastBytes) {
            throw CError(String("The listing has the ") + m_what + " '" + name + "' after '" + m_last +
                         "', although its names must ascend.");
        }
        m_last = name;
        m_lastBytes = std::move(bytes);
    }

private:
    const char* m_what;
    const String& m_prefix;
    String m_last;
    std::string m_lastBytes;
};

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

P<CS3ListObjectsResult> CS3ListObjectsResult::fromEncoded(const TBuffer<unsigned char>* body) {
    P<CS3ListObjectsResult> page(new CS3ListObjectsResult);
    page->constructEncoded(getText(*body), [](const wxXmlNode*) {});
    return page;
}

void CS3ListObjectsResult::constructEncoded(std::string_view text,
                                            const std::function<void(const wxXmlNode* root)>& readMore) {
    const std::string wellFormed = makeListing(text, "list objects");
    const auto length = static_cast<int>(wellFormed.size());
    const CS3XmlDocument document(wellFormed.data(), length, length, errorPrefix, S3XmlWhiteSpace::Kept);
    if (getXmlName(document.getRoot()) == "Error") {
        throw CS3Error(CS3ErrorResponse(document.getRoot()), 0);
    }
    constructEncoded(document.getRoot());
    readMore(document.getRoot());
}

void CS3ListObjectsResult::construct(const char* data, int length) {
    const CS3XmlDocument document(data, length, maxListingBytes, errorPrefix);
    construct(document.getRoot());
}

void CS3ListObjectsResult::construct(wxXmlNode* root) {
    checkRoot(root);
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "Contents") {
            m_objects.push_back(new CS3ListObjectsElement(child));
        } else if (name == "CommonPrefixes") {
            parseCommonPrefixes(child);
        } else if (name == "IsTruncated") {
            m_isTruncated = parseIsTruncated(getXmlText(child));
        } else if (name == "NextMarker") {
            m_nextMarker = getXmlText(child);
        }
    });
}

void CS3ListObjectsResult::constructEncoded(wxXmlNode* root) {
    checkRoot(root);
    // First pass: EncodingType may come after the names.
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "EncodingType") {
            m_hasEncodedNames = getXmlText(child).toLower() == "url";
        }
    });
    forEachXmlChild(root, [this](const String& name, wxXmlNode* child) {
        if (name == "Contents") {
            addEncodedObject(child);
        } else if (name == "CommonPrefixes") {
            addEncodedCommonPrefixes(child);
        } else if (name == "IsTruncated") {
            m_isTruncated = parseIsTruncated(getXmlText(child));
        } else if (name == "NextMarker") {
            m_nextMarker = readListedName(getXmlWholeText(child), m_hasEncodedNames).text;
        }
    });
}

void CS3ListObjectsResult::addEncodedObject(wxXmlNode* node) {
    String key;
    forEachXmlChild(node, [&key](const String& name, wxXmlNode* child) {
        if (name == "Key") {
            key = getXmlWholeText(child);
        }
    });
    const CS3ListedName name = readListedName(key, m_hasEncodedNames);
    m_lastKeyBytes = name.bytes;
    if (!name.isReadable) {
        m_unreadableNames.push_back(name.text);
        return;
    }
    P<CS3ListObjectsElement> element(new CS3ListObjectsElement);
    element->construct(node);
    element->m_key = name.text;
    m_objects.push_back(element);
}

void CS3ListObjectsResult::addEncodedCommonPrefixes(wxXmlNode* node) {
    forEachXmlChild(node, [this](const String& name, wxXmlNode* child) {
        if (name == "Prefix") {
            const CS3ListedName prefix = readListedName(getXmlWholeText(child), m_hasEncodedNames);
            (prefix.isReadable ? m_commonPrefixes : m_unreadableNames).push_back(prefix.text);
        }
    });
}

void CS3ListObjectsResult::verifyKeys(const String& prefix, const String& delimiter,
                                      const String& marker) const {
    CNameOrder keys("key", prefix, marker);
    for (const P<CS3ListObjectsElement>& object : m_objects) {
        keys.verify(object->getKey());
    }
    // If the marker lies inside a common prefix, the service lists that prefix again.
    const bool isWithin = !m_commonPrefixes.empty() && marker.startsWith(m_commonPrefixes.front()) &&
                          !(marker == m_commonPrefixes.front());
    CNameOrder folders("common prefix", prefix, isWithin ? String() : marker);
    for (const String& folder : m_commonPrefixes) {
        folders.verify(folder);
        if (delimiter.isEmpty()) {
            throw CError("The listing hides keys in the common prefix '" + folder +
                         "', although it was asked for without a delimiter.");
        }
    }
}

void CS3ListObjectsResult::parseCommonPrefixes(wxXmlNode* node) {
    forEachXmlChild(node, [this](const String& name, wxXmlNode* child) {
        if (name == "Prefix") {
            m_commonPrefixes.push_back(getXmlText(child));
        }
    });
}

}  // namespace vexil
