#include "zet/XMLElement.h"

#include "zet/ASCII.h"
#include "zet/DisplayText.h"
#include "zet/Error.h"
#include "zet/XMLCharacters.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace zet {

namespace {

// XML 1.0, 2.3, for ASCII. Of the other characters, readers refuse a few more.
bool belongsToName(wchar_t c, bool isFirst) {
    if (isAlpha(c) || c == L'_' || c == L':' || !isASCII(c)) {
        return true;
    }
    return !isFirst && (isDigit(c) || c == L'-' || c == L'.');
}

[[noreturn]] void throwInvalid(const String& message) {
    CError error(message);
    error.setKind(ErrorKind::InvalidArgument);
    throw error;
}

[[noreturn]] void throwBadCharacter(const String& where, wchar_t character) {
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                   static_cast<std::uint32_t>(character), 16);
    const String number =
        String::fromLatin1({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
    throwInvalid(where + " contains the character with the hexadecimal number " + number +
                 ", which XML does not allow.");
}

void checkName(const String& name, const char* what) {
    const std::wstring_view text = name.view();
    bool isName = !text.empty();
    for (std::size_t i = 0; i < text.size(); ++i) {
        isName = isName && belongsToName(text[i], i == 0) && isXMLCharacter(text, i);
    }
    if (!isName) {
        throwInvalid("'" + toDisplayText(name) + "' is not the name of an XML " + what + ".");
    }
}

const wchar_t* findEscape(wchar_t character, bool isAttribute) {
    switch (character) {
    case L'&':
        return L"&amp;";
    case L'<':
        return L"&lt;";
    case L'>':
        return L"&gt;";
    case L'\r':
        return L"&#13;";
    case L'"':
        return isAttribute ? L"&quot;" : nullptr;
    case L'\n':
        return isAttribute ? L"&#10;" : nullptr;
    case L'\t':
        return isAttribute ? L"&#9;" : nullptr;
    default:
        return nullptr;
    }
}

/// \param where  the part of the tree for errors
void appendEscaped(std::wstring& result, const String& text, bool isAttribute, const String& where) {
    const std::wstring_view characters = text.view();
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (!isXMLCharacter(characters, i)) {
            throwBadCharacter(where, characters[i]);
        }
        if (const wchar_t* const escape = findEscape(characters[i], isAttribute)) {
            result += escape;
        } else {
            result += characters[i];
        }
    }
}

void appendElement(std::wstring& result, const CXMLElement& element) {
    const String& name = element.getName();
    checkName(name, "element");
    result.append(L"<").append(name.view());
    for (const auto& [attribute, value] : element.getAttributes().getEntries()) {
        checkName(attribute, "attribute");
        result.append(L" ").append(attribute.view()).append(L"=\"");
        appendEscaped(result, value, true, "The attribute '" + attribute + "' of the element '" + name + "'");
        result += L'"';
    }
    if (element.getText().isEmpty() && element.getChildren().empty()) {
        result += L"/>";
        return;
    }
    result += L'>';
    appendEscaped(result, element.getText(), false, "The text of the element '" + name + "'");
    for (const auto& child : element.getChildren()) {
        appendElement(result, *child);
    }
    result.append(L"</").append(name.view()).append(L">");
}

}  // namespace

CXMLElement::CXMLElement(const String& name, const CProps& attributes)
    : m_name(name), m_attributes(attributes) {}

CXMLElement::~CXMLElement() = default;

String CXMLElement::toText() const {
    std::wstring result;
    appendElement(result, *this);
    return String(std::move(result));
}

}  // namespace zet
