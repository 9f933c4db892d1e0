#include "sigil/Base64.h"

#include "sigil/CheckedLength.h"

#include <openssl/evp.h>

#include <algorithm>
#include <string>

namespace sigil {

namespace {

constexpr std::size_t lineLength = 76;

std::string encode(const unsigned char* data, std::size_t length) {
    // OpenSSL counts the characters of one call in an `int`, so the data is encoded in pieces. Their length
    // is a multiple of three bytes, because padding is only allowed at the end of the text.
    constexpr std::size_t pieceLength = 3 << 20;
    std::string text;
    for (std::size_t done = 0; done < length; done += pieceLength) {
        const int count = static_cast<int>(std::min(length - done, pieceLength));
        const std::size_t old = text.size();
        text.resize(old + (static_cast<std::size_t>(count) + 2) / 3 * 4 + 1);  // OpenSSL adds a NUL
        const int written =
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()) + old, data + done, count);
        text.resize(old + static_cast<std::size_t>(written));
    }
    return text;
}

std::string breakLines(const std::string& text) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += lineLength) {
        if (i > 0) {
            lines += "\r\n";
        }
        lines.append(text, i, lineLength);
    }
    return lines;
}

}  // namespace

zet::String base64Encode(const void* data, int length, bool withPadding, bool withLineBreaks) {
    std::string text = encode(static_cast<const unsigned char*>(data), checkedLength("base64Encode", length));
    if (!withPadding) {
        text.erase(text.find_last_not_of('=') + 1);
    }
    return zet::String::fromLatin1(withLineBreaks ? breakLines(text) : text);
}

}  // namespace sigil
