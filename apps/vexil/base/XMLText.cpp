#include "apps/vexil/base/XMLText.h"

#include "zet/XMLCharacters.h"

#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <memory>
#include <string_view>

namespace vexil::app {

namespace {

constexpr wchar_t replacement = 0xFFFD;

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
        if (!zet::isXMLCharacter(characters, i)) {
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
