#include "apps/vexil/base/XMLText.h"

#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace vexil::app {

namespace {

constexpr wchar_t replacement = 0xFFFD;

bool isHighSurrogate(std::wstring_view text, std::size_t index) {
    return index < text.size() && text[index] >= 0xD800 && text[index] <= 0xDBFF;
}

bool isLowSurrogate(std::wstring_view text, std::size_t index) {
    return index < text.size() && text[index] >= 0xDC00 && text[index] <= 0xDFFF;
}

// If characters are 16 bits wide, a pair of these is one character.
bool isHalfOfPair(std::wstring_view text, std::size_t index) {
    if constexpr (sizeof(wchar_t) > 2) {
        return false;
    }
    return (isHighSurrogate(text, index) && isLowSurrogate(text, index + 1)) ||
           (isLowSurrogate(text, index) && index > 0 && isHighSurrogate(text, index - 1));
}

// XML 1.0, 2.2.
bool isXMLCharacter(std::wstring_view text, std::size_t index) {
    const auto code = static_cast<std::uint32_t>(text[index]);
    if (code < 0x20) {
        return code == L'\t' || code == L'\n' || code == L'\r';
    }
    if (code >= 0xD800 && code <= 0xDFFF) {
        return isHalfOfPair(text, index);
    }
    return code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
}

wxString toWxString(const String& text) {
    return wxString(withXMLCharactersOnly(text).c_str());
}

// The constructor of a node puts it before its siblings, but appending to a list of thousands would be slow.
std::unique_ptr<wxXmlNode> makeNode(const zet::CXMLElement& element) {
    auto node = std::make_unique<wxXmlNode>(wxXML_ELEMENT_NODE, toWxString(element.getName()));
    for (const auto& [name, value] : element.getAttributes().getEntries()) {
        node->AddAttribute(toWxString(name), toWxString(value));
    }
    const auto& children = element.getChildren();
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        node->InsertChild(makeNode(**child).release(), node->GetChildren());
    }
    if (!element.getText().isEmpty()) {
        node->InsertChild(new wxXmlNode(wxXML_TEXT_NODE, "", toWxString(element.getText())),
                          node->GetChildren());
    }
    return node;
}

}  // namespace

String withXMLCharactersOnly(const String& text) {
    const std::wstring_view characters = text.view();
    std::wstring result(characters);
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (!isXMLCharacter(characters, i)) {
            result[i] = replacement;
        }
    }
    return String(std::move(result));
}

std::string toXML(const zet::CXMLElement& element) {
    wxXmlDocument document;
    document.SetRoot(makeNode(element).release());
    wxMemoryOutputStream stream;
    if (!document.Save(stream, 1)) {
        throw CError("The XML text cannot be made.");
    }
    std::string text(stream.GetSize(), '\0');
    stream.CopyTo(text.data(), text.size());
    constexpr std::string_view declarationEnd = "?>\n";
    return text.substr(text.find(declarationEnd) + declarationEnd.size());
}

}  // namespace vexil::app
