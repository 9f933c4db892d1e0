#include "vexil/mail/MailAddress.h"

#include "vexil/mail/MimeMessage.h"
#include "vexil/net/LineEnd.h"

#include <algorithm>
#include <cstdint>

namespace vexil {

namespace {

bool isASCII(const String& text) {
    return std::all_of(text.view().begin(), text.view().end(),
                       [](wchar_t c) { return static_cast<std::uint32_t>(c) < 128; });
}

bool canStandUnquoted(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'-' ||
           c == L' ';
}

/// Words of RFC 5322 that stand for themselves.
bool isPlainPhrase(const String& name) {
    return !name.startsWith(" ") && !name.endsWith(" ") && name.find("  ") == String::npos &&
           std::all_of(name.view().begin(), name.view().end(), canStandUnquoted);
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
    String phrase = displayName;
    if (!isASCII(displayName)) {
        phrase = CMimeMessage::toEncodedWord(displayName);
    } else if (!isPlainPhrase(displayName)) {
        phrase = CMimeMessage::toQuotedString(displayName);
    }
    return phrase + " <" + address + ">";
}

}  // namespace vexil
