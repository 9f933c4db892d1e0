#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3XmlDocument.h"
#include "vexil/s3/S3XmlScanner.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class wxXmlNode;

namespace vexil {

class CS3XmlElement;

/// The elements of a document with their texts, in one table in the order of the document. It is filled while
/// expat reads the document: there is no tree.
class CS3XmlElements final : private IS3XmlHandler {
public:
    /// Reads a document; see CS3XmlDocument, whose limits and errors these are.
    CS3XmlElements(std::string_view document, int maxLength, const char* errorPrefix,
                   S3XmlWhiteSpace whiteSpace);
    /// Takes an element of a tree with what is inside it, three levels deep at most.
    /// \param root  must not be null
    explicit CS3XmlElements(const wxXmlNode* root);
    CS3XmlElements(const CS3XmlElements&) = delete;
    CS3XmlElements& operator=(const CS3XmlElements&) = delete;
    ~CS3XmlElements() = default;

    /// Valid as long as the table.
    [[nodiscard]] CS3XmlElement getRoot() const noexcept;

private:
    friend class CS3XmlElement;

    /// Positions are in m_texts.
    struct CEntry {
        std::size_t name;
        std::size_t nameLength;
        std::size_t text;
        std::size_t textLength;
        std::size_t firstLength;
        std::size_t end;  // index of the first element that is not inside this one
    };
    /// An element whose end is yet to come.
    struct COpenElement {
        std::size_t index = 0;
        std::string text = {};
        std::size_t firstLength = 0;
        int texts = 0;
    };

    void beginElement(std::string_view name) override;
    void endElement(std::string_view name) override;
    void addText(std::string_view piece) override;
    void beginCDATA() override;
    void endCDATA() override { m_isTextOpen = false; }
    void divideText() override { m_isTextOpen = false; }
    void beginText();
    void addTree(const wxXmlNode* node, int levelsBelow);

    const S3XmlWhiteSpace m_whiteSpace;
    std::vector<CEntry> m_entries;
    std::string m_texts;
    std::vector<COpenElement> m_open;  // kept for the next elements, with their memory
    std::size_t m_depth = 0;
    bool m_isTextOpen = false;
};

/// One element of a table.
class CS3XmlElement {
public:
    CS3XmlElement(const CS3XmlElements& table, std::size_t index) noexcept
        : m_table(&table), m_index(index) {}

    [[nodiscard]] std::string_view getName() const noexcept {
        return getPart(getEntry().name, getEntry().nameLength);
    }
    /// All pieces of text directly inside the element, in UTF-8.
    [[nodiscard]] std::string_view getBytes() const noexcept {
        return getPart(getEntry().text, getEntry().textLength);
    }
    /// The same as text.
    [[nodiscard]] String getWholeText() const { return String::fromUTF8(getBytes()); }
    /// The first piece of text directly inside the element; "" if it has no text.
    [[nodiscard]] String getFirstText() const {
        return String::fromUTF8(getPart(getEntry().text, getEntry().firstLength));
    }

    /// Calls back with each direct child, in document order.
    template <class Visit>
    void forEachChild(const Visit& visit) const {
        const std::size_t end = getEntry().end;
        for (std::size_t i = m_index + 1; i < end; i = m_table->m_entries[i].end) {
            visit(CS3XmlElement(*m_table, i));
        }
    }

private:
    const CS3XmlElements::CEntry& getEntry() const noexcept { return m_table->m_entries[m_index]; }
    std::string_view getPart(std::size_t position, std::size_t length) const noexcept {
        return {m_table->m_texts.data() + position, length};
    }

    const CS3XmlElements* m_table;
    std::size_t m_index;
};

inline CS3XmlElement CS3XmlElements::getRoot() const noexcept {
    return {*this, 0};
}

}  // namespace vexil
