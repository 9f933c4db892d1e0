#include "vexil/s3/S3ListObjectsResult.h"

#include "vexil/s3/S3ListingText.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlElements.h"
#include "vexil/s3/S3XmlReduction.h"

#include <limits>
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

void checkRoot(const CS3XmlElement& root) {
    if (root.getName() != "ListBucketResult") {
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
    page->constructEncoded(getText(*body), [](const CS3XmlElement&) {});
    return page;
}

void CS3ListObjectsResult::constructEncoded(std::string_view text,
                                            const std::function<void(const CS3XmlElement& root)>& readMore) {
    std::string memory;
    const std::string_view document = makeListing(text, "list objects", memory);
    const CS3XmlElements elements(document, std::numeric_limits<int>::max(), errorPrefix,
                                  S3XmlWhiteSpace::Kept);
    const CS3XmlElement root = elements.getRoot();
    throwIfXmlError(root);
    constructEncoded(root);
    readMore(root);
}

void CS3ListObjectsResult::construct(const char* data, int length) {
    const std::string_view document(data, length > 0 ? static_cast<std::size_t>(length) : 0);
    construct(CS3XmlElements(document, maxListingBytes, errorPrefix, S3XmlWhiteSpace::Dropped).getRoot());
}

void CS3ListObjectsResult::construct(const CS3XmlElement& root) {
    checkRoot(root);
    root.forEachChild([this](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "Contents") {
            m_objects.push_back(new CS3ListObjectsElement(child));
        } else if (name == "CommonPrefixes") {
            parseCommonPrefixes(child);
        } else if (name == "IsTruncated") {
            m_isTruncated = parseIsTruncated(child.getFirstText());
        } else if (name == "NextMarker") {
            m_nextMarker = child.getFirstText();
        }
    });
}

void CS3ListObjectsResult::parseCommonPrefixes(const CS3XmlElement& element) {
    element.forEachChild([this](const CS3XmlElement& child) {
        if (child.getName() == "Prefix") {
            m_commonPrefixes.push_back(child.getFirstText());
        }
    });
}

void CS3ListObjectsResult::constructEncoded(const CS3XmlElement& root) {
    checkRoot(root);
    // First pass: EncodingType may come after the names.
    root.forEachChild([this](const CS3XmlElement& child) {
        if (child.getName() == "EncodingType") {
            m_hasEncodedNames = child.getFirstText().toLower() == "url";
        }
    });
    root.forEachChild([this](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "Contents") {
            addEncodedObject(child);
        } else if (name == "CommonPrefixes") {
            addEncodedCommonPrefixes(child);
        } else if (name == "IsTruncated") {
            m_isTruncated = parseIsTruncated(child.getFirstText());
        } else if (name == "NextMarker") {
            m_nextMarker = readListedName(child.getBytes(), m_hasEncodedNames).text;
        }
    });
}

void CS3ListObjectsResult::addEncodedObject(const CS3XmlElement& element) {
    std::string_view key;
    element.forEachChild([&key](const CS3XmlElement& child) {
        if (child.getName() == "Key") {
            key = child.getBytes();
        }
    });
    CS3ListedName name = readListedName(key, m_hasEncodedNames);
    m_lastKeyBytes = std::move(name.bytes);
    if (!name.isReadable) {
        m_unreadableNames.push_back(std::move(name.text));
        return;
    }
    P<CS3ListObjectsElement> object(new CS3ListObjectsElement);
    object->readFields(element);
    object->m_key = std::move(name.text);
    m_objects.push_back(std::move(object));
}

void CS3ListObjectsResult::addEncodedCommonPrefixes(const CS3XmlElement& element) {
    element.forEachChild([this](const CS3XmlElement& child) {
        if (child.getName() == "Prefix") {
            const CS3ListedName prefix = readListedName(child.getBytes(), m_hasEncodedNames);
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

// ---- trees -----------------------------------------------------------------------------------------------

void CS3ListObjectsResult::construct(wxXmlNode* root) {
    construct(CS3XmlElements(root).getRoot());
}

void CS3ListObjectsResult::parseCommonPrefixes(wxXmlNode* node) {
    parseCommonPrefixes(CS3XmlElements(node).getRoot());
}

void CS3ListObjectsResult::constructEncoded(std::string_view text,
                                            const std::function<void(const wxXmlNode* root)>& readMore) {
    constructEncoded(text, [&readMore](const CS3XmlElement& root) { callWithXmlTree(root, readMore); });
}

void CS3ListObjectsResult::constructEncoded(wxXmlNode* root) {
    constructEncoded(CS3XmlElements(root).getRoot());
}

void CS3ListObjectsResult::addEncodedObject(wxXmlNode* node) {
    addEncodedObject(CS3XmlElements(node).getRoot());
}

void CS3ListObjectsResult::addEncodedCommonPrefixes(wxXmlNode* node) {
    addEncodedCommonPrefixes(CS3XmlElements(node).getRoot());
}

}  // namespace vexil
