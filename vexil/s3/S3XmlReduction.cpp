#include "vexil/s3/S3XmlReduction.h"

#include "vexil/s3/S3XmlScanner.h"

namespace vexil {

namespace {

char32_t decodeCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    char32_t character = text.size() == 1 ? first : first & (0x7Fu >> text.size());
    for (const char byte : text.substr(1)) {
        character = character << 6 | (static_cast<unsigned char>(byte) & 0x3F);
    }
    return character;
}

/// Writes the reduced document.
class CReduction final : public IS3XmlHandler {
public:
    std::string takeDocument() { return std::move(m_out); }

    void beginElement(std::string_view name) override { m_out.append("<").append(name).append(">"); }

    void endElement(std::string_view name) override { m_out.append("</").append(name).append(">"); }

    void addText(std::string_view piece) override {
        if (m_isInCDATA) {
            m_out.append(piece);
        } else if (piece != "\n" &&
                   piece.size() == getCharacterLength(static_cast<unsigned char>(piece[0]))) {
            // Write it so that it stays a separate piece: wxXmlDocument may drop pieces of white space.
            m_out.append("&#")
                .append(std::to_string(static_cast<unsigned long>(decodeCharacter(piece))))
                .append(";");
        } else {
            appendEscaped(piece);
        }
    }

    void beginCDATA() override {
        m_isInCDATA = true;
        m_out.append("<![CDATA[");
    }

    void endCDATA() override {
        m_isInCDATA = false;
        m_out.append("]]>");
    }

    void divideText() override { m_out.append("<!---->"); }

private:
    void appendEscaped(std::string_view text) {
        for (const char byte : text) {
            if (byte == '<' || byte == '>' || byte == '&') {
                m_out.append(byte == '<' ? "&lt;" : byte == '>' ? "&gt;" : "&amp;");
            } else {
                m_out += byte;
            }
        }
    }

    std::string m_out;
    bool m_isInCDATA = false;
};

}  // namespace

std::string reduceXml(std::string_view document, const char*& error) {
    CReduction reduction;
    return scanXml(document, reduction, error) ? reduction.takeDocument() : std::string();
}

}  // namespace vexil
