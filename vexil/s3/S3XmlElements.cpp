#include "vexil/s3/S3XmlElements.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

bool isWhiteSpace(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character == ' ' || character == '\t' || character == '\n' || character == '\r';
    });
}

}  // namespace

CS3XmlElements::CS3XmlElements(std::string_view document, int maxLength, const char* errorPrefix,
                               S3XmlWhiteSpace whiteSpace)
    : m_whiteSpace(whiteSpace) {
    checkXmlLength(document.size(), maxLength, errorPrefix);
    m_texts.reserve(document.size());
    const char* error = nullptr;
    if (!scanXml(document, *this, error)) {
        throw CError(String(errorPrefix) + error);
    }
}

void CS3XmlElements::beginElement(std::string_view name) {
    m_isTextOpen = false;
    if (m_depth == m_open.size()) {
        m_open.emplace_back();
    }
    COpenElement& element = m_open[m_depth++];
    element.index = m_entries.size();
    element.text.clear();
    element.firstLength = 0;
    element.texts = 0;
    m_entries.push_back({m_texts.size(), name.size(), 0, 0, 0, 0});
    m_texts.append(name);
}

void CS3XmlElements::endElement(std::string_view) {
    m_isTextOpen = false;
    const COpenElement& element = m_open[--m_depth];
    CEntry& entry = m_entries[element.index];
    entry.text = m_texts.size();
    entry.textLength = element.text.size();
    entry.firstLength = element.firstLength;
    entry.end = m_entries.size();
    m_texts.append(element.text);
}

void CS3XmlElements::addText(std::string_view piece) {
    if (!m_isTextOpen) {
        if (m_whiteSpace == S3XmlWhiteSpace::Dropped && isWhiteSpace(piece)) {
            return;
        }
        beginText();
    }
    COpenElement& element = m_open[m_depth - 1];
    element.text.append(piece);
    if (element.texts == 1) {
        element.firstLength = element.text.size();
    }
}

void CS3XmlElements::beginCDATA() {
    beginText();
}

void CS3XmlElements::beginText() {
    m_isTextOpen = true;
    ++m_open[m_depth - 1].texts;
}

}  // namespace vexil
