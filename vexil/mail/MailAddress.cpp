#include "vexil/mail/MailAddress.h"

#include "vexil/mail/MimeMessage.h"
#include "vexil/net/LineEnd.h"
#include "zet/ASCII.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr std::size_t maxLine = 76;

bool canStandUnquoted(wchar_t c) {
    return zet::isAlphanumeric(c) || c == L'-' || c == L' ';
}

/// True if a name can be written as plain words (RFC 5322).
bool isPlainPhrase(const String& name) {
    return !name.startsWith(" ") && !name.endsWith(" ") && name.find("  ") == String::npos &&
           std::all_of(name.view().begin(), name.view().end(), canStandUnquoted);
}

/// A display name as plain words, in quotes or encoded. In quotes an encoded word is plain text, but many
/// readers decode it.
String makePhrase(const String& name) {
    if (CMimeMessage::toHeaderText(name) != name) {
        return CMimeMessage::toEncodedWord(name);
    }
    const String phrase = isPlainPhrase(name) ? name : CMimeMessage::toQuotedString(name);
    return phrase.length() > maxLine ? CMimeMessage::toEncodedWord(name) : phrase;
}

void checkAddress(const String& address) {
    const auto isAllowed = [](wchar_t c) { return c >= L' ' && c <= L'~' && c != L'<' && c != L'>'; };
    if (address.isEmpty() || !std::all_of(address.view().begin(), address.view().end(), isAllowed)) {
        throw CInvalidArgError("makeAddress", "address must be printable ASCII without '<' and '>'");
    }
}

}  // namespace

String makeAddress(const String& displayName, const String& address) {
    checkAddress(address);
    if (hasLineEnd(displayName)) {
        throw CInvalidArgError("makeAddress", "display name must not contain CR, LF or NUL");
    }
    if (displayName.isEmpty()) {
        return address;
    }
    const String phrase = makePhrase(displayName);
    const std::size_t fold = phrase.findLast(L'\n');
    const std::size_t lastLine = phrase.length() - (fold == String::npos ? 0 : fold + 1);
    const bool fits = lastLine + address.length() + 3 <= maxLine;
    return phrase + (fits ? " <" : "\r\n <") + address + ">";
}

}  // namespace vexil
