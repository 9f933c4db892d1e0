// Writes generated messages, always the same ones, for an independent reader: the bytes of each and what it
// must find in them. A line has a word and values in hexadecimal:
//
//   message BYTES
//   field NAME VALUE              a field without a structure
//   addresses NAME (NAME ADDRESS)...
// its parts follow, up to "end"
//   text VALUE                    with line ends of CR LF
//   attachment NAME TYPE BYTES
//   end
#include "tests/mail/MailTestSupport.h"
#include "tests/support/GeneratedText.h"
#include "vexil/mail/MailAddress.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "zet/BufferStream.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vexil;
using vexil_test::appendUTF8;
using vexil_test::hex;

constexpr int messageCount = 300;
constexpr unsigned int seed = 20201121;

class CGenerator {
public:
    void writeMessage() {
        const P<CMimeMessage> message = makeMessage(3);
        addFields(*message);
        zet::CBufferStream stream;
        message->store(stream);
        std::printf("message%s\n%s", hex(vexil_test::textOf(*stream.getBuffer())).c_str(),
                    m_expected.c_str());
        m_expected.clear();
    }

private:
    // The library's distributions differ between systems.
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine()) % limit; }
    bool isLucky() { return below(2) == 0; }

    unsigned int anyCharacter() {
        // Each plane equally often, and ASCII as often as the rest.
        switch (below(4)) {
        case 0:
        case 1:
            return ' ' + below(0x7F - ' ');
        case 2:
            return 0xA0 + below(0x400);
        default: {
            const unsigned int c = below(17) * 0x10000 + below(0x10000);
            const bool isSurrogate = c >= 0xD800 && c < 0xE000;
            return isSurrogate || c < 0xA0 ? 0x20AC : c;
        }
        }
    }

    std::string anyText(unsigned int maxLength) {
        std::string text;
        for (unsigned int length = 1 + below(maxLength); length > 0; --length) {
            appendUTF8(text, anyCharacter());
        }
        return text;
    }

    /// Printable ASCII with single spaces between words and without the beginning of an encoded word.
    std::string asciiText(unsigned int maxLength) {
        std::string text(1, static_cast<char>('!' + below('~' - '!')));
        for (unsigned int length = below(maxLength); length > 0; --length) {
            const char c = static_cast<char>(' ' + below('~' - ' ' + 1));
            const bool isBad = (c == ' ' && text.ends_with(' ')) || (c == '?' && text.ends_with('='));
            text += isBad ? 'x' : c;
        }
        return text + ".";
    }

    void addFields(CMimeMessage& message) {
        addField(message, "Subject", isLucky() ? anyText(120) : asciiText(120));
        if (isLucky()) {
            addField(message, "X-Note", anyText(300));
        }
        for (const char* name : {"From", "To", "Cc"}) {
            addAddresses(message, name, *name == 'F' ? 1 : 1 + below(4));
        }
    }

    void addField(CMimeMessage& message, const char* name, const std::string& value) {
        message.getHeaders()[name] = String::fromUTF8(value);
        m_expected += "field" + hex(name) + hex(value) + "\n";
    }

    void addAddresses(CMimeMessage& message, const char* field, unsigned int count) {
        String value;
        m_expected += "addresses" + hex(field);
        for (unsigned int i = 0; i < count; ++i) {
            const std::string name = below(5) == 0 ? "" : isLucky() ? anyText(60) : asciiText(30);
            const std::string address = "user" + std::to_string(below(1000)) + "@example.com";
            value += (i == 0 ? "" : ", ") + makeAddress(String::fromUTF8(name), String::fromUTF8(address));
            m_expected += hex(name) + hex(address);
        }
        message.getHeaders()[field] = value;
        m_expected += "\n";
    }

    P<CMimeMessage> makeMessage(int depth) {
        switch (depth == 0 ? 1 + below(2) : below(4)) {
        case 1:
            return makeText();
        case 2:
            return makeAttachment();
        default:
            return makeMultiPart(depth);
        }
    }

    P<CMimeMessage> makeMultiPart(int depth) {
        static const char* const subtypes[] = {"mixed", "alternative", "related"};
        const char* const subtype = subtypes[below(3)];
        const P<CMultiPartMimeMessage> message = new CMultiPartMimeMessage(subtype);
        m_expected += "multipart" + hex(subtype) + "\n";
        for (unsigned int count = 1 + below(4); count > 0; --count) {
            message->addPart(makeMessage(depth - 1));
        }
        m_expected += "end\n";
        return message;
    }

    P<CMimeMessage> makeText() {
        const P<CMimeMessage> message = new CMimeMessage("");
        std::string text;
        std::string expected;
        for (unsigned int lines = below(6); lines > 0; --lines) {
            static const char* const lineEnds[] = {"\r\n", "\n", "\r"};
            // Together with an LF after it, a CR would be one line end.
            const char* const lineEnd = lineEnds[below(text.ends_with('\r') ? 1 : 3)];
            std::string line = below(3) == 0 ? "" : isLucky() ? asciiText(150) : anyText(100);
            if (below(8) == 0) {
                line += std::string("\0\x01\x7F\f\v ", 6);
            }
            if (below(4) == 0) {
                line += " \t";
            }
            const bool wouldJoin = line.empty() && text.ends_with('\r');
            text += line + (wouldJoin ? "\r" : lineEnd);
            expected += line + "\r\n";
        }
        if (isLucky()) {
            const std::string line = "." + anyText(20);
            text += line;
            expected += line;
        }
        message->setTextBody(String::fromUTF8(text));
        m_expected += "text" + hex(expected) + "\n";
        return message;
    }

    P<CMimeMessage> makeAttachment() {
        static const char* const types[] = {"application/octet-stream", "image/png", "application/pdf"};
        const char* const type = types[below(3)];
        const std::string name = isLucky() ? anyText(60) : asciiText(60);
        TBuffer<unsigned char> bytes;
        for (unsigned int length = below(400); length > 0; --length) {
            const auto byte = static_cast<unsigned char>(below(256));
            bytes.append(&byte, 1);
        }
        m_expected += "attachment" + hex(name) + hex(type) + hex(vexil_test::textOf(bytes)) + "\n";
        return CMimeMessage::createAttachment(String::fromUTF8(name), type, &bytes);
    }

    std::mt19937 m_engine{seed};
    std::string m_expected;
};

}  // namespace

int main() {
    CGenerator generator;
    for (int i = 0; i < messageCount; ++i) {
        generator.writeMessage();
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
