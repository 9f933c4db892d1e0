#include "zet/XMLElement.h"

#include "tests/support/WhatOf.h"
#include "zet/XMLCharacters.h"

#include <gtest/gtest.h>

#include <expat.h>
#include <string>
#include <string_view>

using namespace std::string_view_literals;

namespace {

using zet::CXMLElement;
using zet::P;
using zet::String;

TEST(XMLCharactersTest, AreThoseOfXML) {
    for (const char32_t character :
         {0x9, 0xA, 0xD, 0x20, 0x7F, 0x85, 0xD7FF, 0xE000, 0xFFFD, 0x10000, 0x10FFFF}) {
        EXPECT_TRUE(zet::isXMLCharacter(character)) << static_cast<int>(character);
    }
    for (const char32_t character :
         {0x0, 0x1, 0x8, 0xB, 0xC, 0xE, 0x1F, 0xD800, 0xDFFF, 0xFFFE, 0xFFFF, 0x110000}) {
        EXPECT_FALSE(zet::isXMLCharacter(character)) << static_cast<int>(character);
    }
}

TEST(XMLCharactersTest, MayBePairsOfSurrogates) {
    // If wchar_t has 32 bits, a half of a pair is never a character.
    const bool isPairAllowed = sizeof(wchar_t) == 2;
    const std::wstring_view text = L"a\xD83D\xDE00z\xDE00\xD83D";
    EXPECT_TRUE(zet::isXMLCharacter(text, 0));
    EXPECT_EQ(zet::isXMLCharacter(text, 1), isPairAllowed);
    EXPECT_EQ(zet::isXMLCharacter(text, 2), isPairAllowed);
    EXPECT_TRUE(zet::isXMLCharacter(text, 3));
    EXPECT_FALSE(zet::isXMLCharacter(text, 4));
    EXPECT_FALSE(zet::isXMLCharacter(text, 5));
}

TEST(XMLElementTest, HasANameAndNothingElseAtFirst) {
    const CXMLElement element("name");
    EXPECT_EQ(element.getName(), "name");
    EXPECT_TRUE(element.getAttributes().isEmpty());
    EXPECT_EQ(element.getText(), "");
    EXPECT_TRUE(element.getChildren().empty());
}

TEST(XMLElementTest, KeepsAttributesInOrder) {
    zet::CProps attributes;
    attributes.add("z", "1");
    CXMLElement element("name", attributes);
    element.addAttribute("a", "2");
    element.addAttribute("z", "3");
    const auto& entries = element.getAttributes().getEntries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].first, "z");
    EXPECT_EQ(entries[0].second, "3") << "the second value replaces the first and keeps its position";
    EXPECT_EQ(entries[1].first, "a");
}

TEST(XMLElementTest, AcceptsTextsThatAreInvalidInXML) {
    CXMLElement element("name");
    const String text = String::fromUTF8("a\0\x01\xEF\xBF\xBF<&"sv);
    element.setText(text);
    EXPECT_EQ(element.getText(), text);
    element.setText("");
    EXPECT_EQ(element.getText(), "");
}

TEST(XMLElementTest, KeepsChildrenInOrderAndAlive) {
    const P<CXMLElement> parent = new CXMLElement("parent");
    {
        const P<CXMLElement> second = new CXMLElement("second");
        parent->addChild(new CXMLElement("first"));
        parent->addChild(second);
        parent->addChild(second);
    }
    ASSERT_EQ(parent->getChildren().size(), 3u);
    EXPECT_EQ(parent->getChildren()[0]->getName(), "first");
    EXPECT_EQ(parent->getChildren()[1]->getName(), "second");
    EXPECT_EQ(parent->getChildren()[1].get(), parent->getChildren()[2].get());
}

// ---- as text ---------------------------------------------------------------------------------------------

/// What a reader finds: names, attributes in order, texts.
class CReader {
public:
    static std::string read(const String& text) {
        CReader reader;
        const std::string bytes = text.toUTF8();
        XML_Parser parser = XML_ParserCreate("UTF-8");
        XML_SetUserData(parser, &reader);
        XML_SetElementHandler(parser, &CReader::onStart, &CReader::onEnd);
        XML_SetCharacterDataHandler(parser, &CReader::onText);
        const bool isRead =
            XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), 1) == XML_STATUS_OK;
        XML_ParserFree(parser);
        return isRead ? reader.m_found : "not well-formed: " + bytes;
    }

private:
    static void XMLCALL onStart(void* self, const XML_Char* name, const XML_Char** attributes) {
        std::string& found = static_cast<CReader*>(self)->m_found;
        found += "{" + std::string(name);
        for (; *attributes; attributes += 2) {
            found += "|" + std::string(attributes[0]) + "=" + attributes[1];
        }
        found += ":";
    }
    static void XMLCALL onEnd(void* self, const XML_Char*) { static_cast<CReader*>(self)->m_found += "}"; }
    static void XMLCALL onText(void* self, const XML_Char* text, int length) {
        static_cast<CReader*>(self)->m_found.append(text, static_cast<std::size_t>(length));
    }

    std::string m_found;
};

std::string refusalOf(const CXMLElement& element) {
    return vexil_test::whatOf([&] { (void)element.toText(); });
}

TEST(XMLElementTest, IsWrittenAsText) {
    CXMLElement root("root");
    EXPECT_EQ(root.toText(), "<root/>");
    root.addAttribute("b", "1");
    root.addAttribute("a", "");
    const P<CXMLElement> child = new CXMLElement("child");
    child->setText("text");
    root.addChild(child.get());
    root.addChild(new CXMLElement("x:empty"));
    EXPECT_EQ(root.toText(), "<root b=\"1\" a=\"\"><child>text</child><x:empty/></root>");
    root.setText("own ");
    EXPECT_EQ(root.toText(), "<root b=\"1\" a=\"\">own <child>text</child><x:empty/></root>");
}

TEST(XMLElementTest, MarkupIsEscaped) {
    CXMLElement element("e");
    element.addAttribute("a", "<&>\"'\t\r\n");
    element.setText("<&>\"'\t\r\n]]>");
    EXPECT_EQ(element.toText(),
              "<e a=\"&lt;&amp;&gt;&quot;'&#9;&#13;&#10;\">&lt;&amp;&gt;\"'\t&#13;\n]]&gt;</e>");
}

TEST(XMLElementTest, AReaderGetsTheTreeBack) {
    const std::string texts[] = {
        "plain",        " spaces \t\r\n\r ends ",
        "<b>&amp;</b>", "]]><![CDATA[",
        "'\"",          "\r",
        "\n\n",         "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD\xC2\x85\xE2\x80\xA8",
        "<!--",         "&#0;"};
    for (const std::string& text : texts) {
        CXMLElement root("root");
        root.addAttribute("first", text);
        root.addAttribute("second", text + text);
        root.setText(text);
        const P<CXMLElement> child = new CXMLElement("child");
        child->setText(text + "x");
        root.addChild(child.get());
        root.addChild(child.get());
        const std::string inner = "{child:" + text + "x}";
        EXPECT_EQ(CReader::read(root.toText()),
                  "{root|first=" + text + "|second=" + text + text + ":" + text + inner + inner + "}");
    }
}

TEST(XMLElementTest, CharactersThatXMLCannotContainAreRefused) {
    for (wchar_t c = 0; c < 0x20; ++c) {
        CXMLElement element("e");
        element.setText(String(std::wstring(L"a") + c));
        const bool isAllowed = c == L'\t' || c == L'\n' || c == L'\r';
        EXPECT_EQ(refusalOf(element) == "no error", isAllowed) << static_cast<int>(c);
    }
    CXMLElement element("e");
    element.setText(String(std::wstring(L"\x1B")));
    EXPECT_EQ(refusalOf(element),
              "The text of the element 'e' contains the character with the hexadecimal number 1b, "
              "which XML does not allow.");
    for (const wchar_t c : {wchar_t(0xFFFE), wchar_t(0xFFFF), wchar_t(0xD800), wchar_t(0xDFFF)}) {
        CXMLElement parent("parent");
        const P<CXMLElement> child = new CXMLElement("child");
        child->addAttribute("a", String(std::wstring(1, c)));
        parent.addChild(child.get());
        EXPECT_TRUE(
            refusalOf(parent).starts_with("The attribute 'a' of the element 'child' contains the character"))
            << refusalOf(parent);
    }
}

TEST(XMLElementTest, WrongNamesAreRefused) {
    for (const char* name : {"", " ", "a b", "1a", "-a", ".a", "a>", "a/", "a=", "a\"", "a\n", "<a", "a&"}) {
        EXPECT_TRUE(refusalOf(CXMLElement(name)).ends_with("is not the name of an XML element.")) << name;
        CXMLElement element("e");
        element.addAttribute(name, "v");
        EXPECT_TRUE(refusalOf(element).ends_with("is not the name of an XML attribute.")) << name;
    }
    EXPECT_EQ(refusalOf(CXMLElement("a\n")), "'a\\x0A' is not the name of an XML element.");
    for (const char* name : {"a", "_a", "a-1.b", "\xC3\xA4"}) {
        EXPECT_EQ(CReader::read(CXMLElement(name).toText()), "{" + std::string(name) + ":}") << name;
    }
}

}  // namespace
