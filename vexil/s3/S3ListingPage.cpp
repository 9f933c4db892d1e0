#include "vexil/s3/S3ListingPage.h"

#include "vexil/s3/S3ListingText.h"
#include "vexil/s3/S3ResultDocument.h"

#include <algorithm>

namespace vexil {

/// Reads one document into a page.
class CS3ListingPage::CReader {
public:
    CReader(CS3ListingPage& page, const CS3ResultDocument& document, const CNames& names)
        : m_page(page), m_document(document), m_names(names) {
        page.m_hasEncodedNames = document.findText("EncodingType").trimmed().toLower() == "url";
    }

    void read(const TArray<String>& entries, const AddEntry& addEntry) {
        forEachXmlChild(m_document.getRoot(), [&](const String& name, const wxXmlNode* child) {
            if (std::find(entries.begin(), entries.end(), name) != entries.end()) {
                readEntry(child, addEntry);
            } else if (name == "CommonPrefixes") {
                readCommonPrefixes(child);
            } else if (name == "IsTruncated") {
                m_page.m_isTruncated = m_document.parseBoolean(child);
            } else if (name == "NextKeyMarker") {
                m_sentKey = getXmlWholeText(child);
            } else if (name == m_names.nextId) {
                m_sentId = readListedName(getXmlWholeText(child), false).bytes;
            }
        });
        chooseMarkers();
    }

private:
    CS3ListedName readName(const String& text) const {
        return readListedName(text, m_page.m_hasEncodedNames);
    }

    void readEntry(const wxXmlNode* node, const AddEntry& addEntry) {
        String text;
        forEachXmlChild(node, [&](const String& name, const wxXmlNode* child) {
            if (name == "Key") {
                text = getXmlWholeText(child);
            } else if (name == m_names.id) {
                m_lastId = readListedName(getXmlWholeText(child), false).bytes;
            }
        });
        if (text.isEmpty()) {
            m_document.fail("an entry without a key.");
        }
        const CS3ListedName key = readName(text);
        m_lastKey = key.bytes;
        if (key.isReadable) {
            addEntry(node, key.text);
        } else {
            m_page.m_unreadableNames.push_back(key.text);
        }
    }

    void readCommonPrefixes(const wxXmlNode* node) {
        forEachXmlChild(node, [this](const String& name, const wxXmlNode* child) {
            if (name == "Prefix") {
                const CS3ListedName prefix = readName(getXmlWholeText(child));
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
    String m_sentKey;
    std::string m_sentId;
    std::string m_lastKey;
    std::string m_lastId;
    std::string m_lastPrefix;
};

CS3ListingPage::~CS3ListingPage() = default;

void CS3ListingPage::read(std::string_view text, const CNames& names, const TArray<String>& entries,
                          const AddEntry& addEntry) {
    const std::string wellFormed = makeListing(text, names.operation);
    const CS3ResultDocument document(wellFormed, names.operation, names.root,
                                     static_cast<int>(wellFormed.size()));
    CReader(*this, document, names).read(entries, addEntry);
}

}  // namespace vexil
