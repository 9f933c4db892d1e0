#include "vexil/s3/S3ListingPage.h"

#include "vexil/s3/S3ListingText.h"
#include "vexil/s3/S3ResultDocument.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace vexil {

/// Reads one document into a page.
class CS3ListingPage::CReader {
public:
    CReader(CS3ListingPage& page, const CS3ResultDocument& document, const CNames& names)
        : m_page(page), m_document(document), m_names(names) {
        page.m_hasEncodedNames = document.findText("EncodingType").trimmed().toLower() == "url";
    }

    void read(const TArray<String>& entries, const AddElement& addElement) {
        std::vector<std::string> entryNames;
        for (const String& entry : entries) {
            entryNames.push_back(entry.toUTF8());
        }
        m_document.getRoot().forEachChild([&](const CS3XmlElement& child) {
            const std::string_view name = child.getName();
            if (std::find(entryNames.begin(), entryNames.end(), name) != entryNames.end()) {
                readEntry(child, addElement);
            } else if (name == "CommonPrefixes") {
                readCommonPrefixes(child);
            } else if (name == "IsTruncated") {
                m_page.m_isTruncated = m_document.parseBoolean(child);
            } else if (name == "NextKeyMarker") {
                m_sentKey = child.getBytes();
            } else if (name == m_names.nextId) {
                m_sentId = readListedName(child.getBytes(), false).bytes;
            }
        });
        chooseMarkers();
    }

private:
    CS3ListedName readName(std::string_view text) const {
        return readListedName(text, m_page.m_hasEncodedNames);
    }

    void readEntry(const CS3XmlElement& node, const AddElement& addElement) {
        std::string_view text;
        node.forEachChild([&](const CS3XmlElement& child) {
            const std::string_view name = child.getName();
            if (name == "Key") {
                text = child.getBytes();
            } else if (name == m_names.id) {
                m_lastId = readListedName(child.getBytes(), false).bytes;
            }
        });
        if (text.empty()) {
            m_document.fail("an entry without a key.");
        }
        const CS3ListedName key = readName(text);
        m_lastKey = key.bytes;
        if (key.isReadable) {
            addElement(node, key.text);
        } else {
            m_page.m_unreadableNames.push_back(key.text);
        }
    }

    void readCommonPrefixes(const CS3XmlElement& node) {
        node.forEachChild([this](const CS3XmlElement& child) {
            const std::string_view name = child.getName();
            if (name == "Prefix") {
                const CS3ListedName prefix = readName(child.getBytes());
                m_lastPrefix = prefix.bytes;
                (prefix.isReadable ? m_page.m_commonPrefixes : m_page.m_unreadableNames)
                    .push_back(prefix.text);
            }
        });
    }

    /// The last entry tells where to go on: some services do not encode the key that they send for it,
    /// although they say that names are encoded.
    void chooseMarkers() {
        const bool isEntryLast = m_lastPrefix.empty() && !m_lastKey.empty();
        m_page.m_nextKey = isEntryLast ? m_lastKey : readSentKey();
        m_page.m_nextId = isEntryLast ? m_lastId : m_sentId;
    }

    std::string readSentKey() const {
        const std::string plain = readListedName(m_sentKey, false).bytes;
        return plain == m_lastKey || plain == m_lastPrefix ? plain : readName(m_sentKey).bytes;
    }

    CS3ListingPage& m_page;
    const CS3ResultDocument& m_document;
    const CNames& m_names;
    std::string m_sentKey;
    std::string m_sentId;
    std::string m_lastKey;
    std::string m_lastId;
    std::string m_lastPrefix;
};

CS3ListingPage::~CS3ListingPage() = default;

void CS3ListingPage::read(std::string_view text, const CNames& names, const TArray<String>& entries,
                          const AddElement& addElement) {
    std::string memory;
    const CS3ResultDocument document(makeListing(text, names.operation, memory), names.operation, names.root,
                                     std::numeric_limits<int>::max());
    CReader(*this, document, names).read(entries, addElement);
}

void CS3ListingPage::read(std::string_view text, const CNames& names, const TArray<String>& entries,
                          const AddEntry& addEntry) {
    read(text, names, entries, [&addEntry](const CS3XmlElement& element, const String& key) {
        callWithXmlTree(element, [&](const wxXmlNode* node) { addEntry(node, key); });
    });
}

}  // namespace vexil
