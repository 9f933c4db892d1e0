#include "vexil/mail/BodyEncoding.h"

#include "sigil/Base64.h"

#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr std::size_t maxLineLength = 76;

P<TBuffer<unsigned char>> toBuffer(const std::string& text) {
    P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>;
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        zet::throwBufferTooLarge();
    }
    buffer->append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

/// Writes quoted-printable text and breaks lines that would get too long.
class CQuotedPrintableWriter {
public:
    void lineEnd() {
        m_text += "\r\n";
        m_lineLength = 0;
    }
    void plain(char byte) { add({&byte, 1}); }
    void quoted(char byte) {
        static constexpr char digits[] = "0123456789ABCDEF";
        const auto value = static_cast<unsigned char>(byte);
        const char text[] = {'=', digits[value >> 4], digits[value & 0xF]};
        add({text, sizeof(text)});
    }
    const std::string& getText() const noexcept { return m_text; }

private:
    void add(std::string_view text) {
        // Leave room for the "=" that joins a line to the next one.
        if (m_lineLength + text.size() > maxLineLength - 1) {
            m_text += '=';
            lineEnd();
        }
        m_text += text;
        m_lineLength += text.size();
    }

    std::string m_text;
    std::size_t m_lineLength = 0;
};

bool isPrintable(char c) noexcept {
    return c > ' ' && c <= '~' && c != '=';
}

}  // namespace

P<TBuffer<unsigned char>> encodeBase64Body(const TBuffer<unsigned char>& bytes) {
    return toBuffer(sigil::base64Encode(bytes.getData(), bytes.getUsed(), true, true).toLatin1());
}

P<TBuffer<unsigned char>> encodeQuotedPrintableBody(const TBuffer<unsigned char>& bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.getData()),
                                static_cast<std::size_t>(bytes.getUsed()));
    CQuotedPrintableWriter writer;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const std::string_view next = text.substr(i + 1);
        if (c == '\r' && next.starts_with('\n')) {
            writer.lineEnd();
            ++i;
        } else if ((c == ' ' || c == '\t') && !next.empty() && !next.starts_with("\r\n")) {
            writer.plain(c);
        } else if (isPrintable(c)) {
            writer.plain(c);
        } else {
            writer.quoted(c);
        }
    }
    return toBuffer(writer.getText());
}

}  // namespace vexil
