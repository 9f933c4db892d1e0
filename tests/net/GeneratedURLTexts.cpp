// Writes generated texts, always the same ones, and their forms in URLs and forms by this library, so that
// another implementation can compare them. A line has a word and values in hexadecimal. The values are UTF-8,
// except that halves of surrogate pairs are written like other characters:
//
//   text TEXT ESCAPED ESCAPED-PLUS FORM-LOWER FORM-UPPER UNESCAPED UNESCAPED-PLUS
//   params (NAME VALUE)...                      in no order; if a name repeats, the last one counts
//   encoded QUERY FORM-LOWER FORM-UPPER PROPS-LOWER PROPS-UPPER     the encoded line before
//   query QUERY (NAME VALUE)...                 a query and its content
#include "tests/support/GeneratedText.h"
#include "vexil/net/URLEncoding.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vexil;
using vexil_test::hex;

constexpr int inputCount = 1000;
constexpr unsigned int seed = 20201122;

/// A text, and its bytes in the output.
struct GeneratedText {
    String text;
    std::string bytes;

    void add(unsigned int character) {
        // If characters have two bytes, two halves in a row would be a pair.
        if (sizeof(wchar_t) == 2 && character >= 0xDC00 && character < 0xE000) {
            character -= 0x400;
        }
        std::string utf8;
        vexil_test::appendUTF8(utf8, character);
        bytes += utf8;
        const bool isSurrogate = character >= 0xD800 && character < 0xE000;
        text += isSurrogate ? String(std::wstring{static_cast<wchar_t>(character)}) : String::fromUTF8(utf8);
    }
    void add(const std::string& utf8) {
        bytes += utf8;
        text += String::fromUTF8(utf8);
    }
    void add(const GeneratedText& other) {
        bytes += other.bytes;
        text += other.text;
    }
};

class CGenerator {
public:
    void writeText() {
        GeneratedText text = anyText(5);
        addChunk(text);
        std::string line = "text" + hex(text.bytes);
        for (const String& result :
             {urlEscape(text.text, false), urlEscape(text.text, true), formURLEncode(text.text, false),
              formURLEncode(text.text, true), urlUnescape(text.text, false), urlUnescape(text.text, true)}) {
            line += hex(result.toUTF8());
        }
        std::puts(line.c_str());
    }

    void writeParams() {
        TMap<String, String> params;
        CProps props;
        std::string line = "params";
        for (unsigned int count = below(8); count > 0; --count) {
            const GeneratedText name = anyName();
            const GeneratedText value = anyText(3);
            params[name.text] = value.text;
            props.add(name.text, value.text);
            line += hex(name.bytes) + hex(value.bytes);
        }
        line += "\nencoded";
        for (const String& result :
             {encodeURLParams(params), formURLEncode(params, false), formURLEncode(params, true),
              formURLEncode(props, false), formURLEncode(props, true)}) {
            line += hex(result.toUTF8());
        }
        std::puts(line.c_str());
    }

    void writeQuery() {
        GeneratedText query;
        for (unsigned int pieces = below(6); pieces > 0; --pieces) {
            query.add(anyPiece());
            query.add(pieces > 1 || below(8) == 0 ? "&" : "");
        }
        TMap<String, String> params;
        decodeURLParams(query.text, params);
        std::string line = "query" + hex(query.bytes);
        for (const auto& [name, value] : params) {
            line += hex(name.toUTF8()) + hex(value.toUTF8());
        }
        std::puts(line.c_str());
    }

private:
    // The distributions of the standard library differ between systems.
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine()) % limit; }
    template <std::size_t size>
    const char* oneOf(const char* const (&texts)[size]) {
        return texts[below(size)];
    }

    GeneratedText anyText(unsigned int maxChunks) {
        GeneratedText text;
        for (unsigned int chunks = below(maxChunks + 1); chunks > 0; --chunks) {
            addChunk(text);
        }
        return text;
    }

    /// Often an earlier one, in another form.
    GeneratedText anyName() {
        GeneratedText name;
        if (below(2) == 0) {
            name.add(oneOf({"", "a", "%61", "a b", "a+b", "A", "\xC3\xA4", "%c3%a4", "%ff", "%FE"}));
        } else {
            addChunk(name);
        }
        return name;
    }

    GeneratedText anyPiece() {
        GeneratedText piece;
        if (below(6) == 0) {
            return piece;
        }
        piece.add(anyName());
        if (below(4) != 0) {
            piece.add("=");
            piece.add(anyText(2));
        }
        return piece;
    }

    void addChunk(GeneratedText& text) {
        switch (below(8)) {
        case 0:
            return addCharacters(text, [this] { return ' ' + below(0x7F - ' '); });
        case 1:
            return text.add(oneOf({"Größe",      "naïve", "Ωμέγα",   "Привет",
                                   "שלום",       "مرحبا", "नमस्ते",    "สวัสดี",
                                   "გამარჯობა",  "Բարեւ", "ሰላም",     "한국어",
                                   "こんにちは", "漢字",  "e\u0301", "👩‍👩‍👧",
                                   "🇩🇪",         "𝔘𝔫𝔦",   "\uFEFF",  "\u202E"}));
        case 2:
            return addCharacters(text, [this] { return below(2) == 0 ? below(' ') : 0x7F + below(0x21); });
        case 3:
            return addCharacters(text, [this] { return anyCharacter(); });
        case 4:
            return addEscaped(text);
        case 5:
            return text.add(oneOf({"%", "%4", "%zz", "%%", "%%41", "%4%41", "%+1", "% 41", "%u00e9", "%é",
                                   "%-1", "%0x", "%2", "%G1", "%1g", "100%", "%\x01", "%４１"}));
        case 6:
            return addBadBytes(text);
        default:
            return text.add(below(2) == 0 ? "+ +" : "&=?#/;:@");
        }
    }

    template <class Choose>
    void addCharacters(GeneratedText& text, Choose choose) {
        for (unsigned int length = 1 + below(8); length > 0; --length) {
            text.add(choose());
        }
    }

    /// Each plane with the same probability, and halves of surrogate pairs more often than by chance.
    unsigned int anyCharacter() {
        if (below(16) == 0) {
            return 0xD800 + below(0x800);
        }
        return below(17) * 0x10000 + below(0x10000);
    }

    void addByte(GeneratedText& text, unsigned int byte) {
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, below(2) == 0 ? "%%%02x" : "%%%02X", byte);
        text.add(escaped);
    }

    /// Possible output of an escaping function.
    void addEscaped(GeneratedText& text) {
        GeneratedText plain;
        addCharacters(plain, [this] { return below(2) == 0 ? below(0x80) : anyCharacter(); });
        for (const char byte : plain.text.toUTF8()) {
            addByte(text, static_cast<unsigned char>(byte));
        }
    }

    void addBadBytes(GeneratedText& text) {
        if (below(2) == 0) {
            // Too long, half a surrogate pair, too large, cut, and a continuation without a beginning.
            return text.add(oneOf({"%c0%80", "%e0%80%af", "%ED%A0%80", "%ed%bf%BF", "%f4%90%80%80",
                                   "%f0%9f%98", "%e2%82", "%c3", "%80", "%bf%bf", "%F8%88%80%80%80", "%fe%ff",
                                   "%e2%82A", "%e2\xC3\xA9%82", "%f0%9f+%80"}));
        }
        for (unsigned int length = 1 + below(6); length > 0; --length) {
            addByte(text, below(8) == 0 ? below(0x80) : 0x80 + below(0x80));
        }
    }

    std::mt19937 m_engine{seed};
};

}  // namespace

int main() {
    CGenerator generator;
    for (int i = 0; i < inputCount; ++i) {
        generator.writeText();
        generator.writeParams();
        generator.writeQuery();
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
