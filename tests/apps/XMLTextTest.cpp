#include "apps/vexil/base/XMLText.h"

#include <gtest/gtest.h>

namespace vexil::app {

TEST(XMLTextTest, CharactersThatXMLCanHoldStayAsTheyAre) {
    const String text(std::wstring(L"\t\n\r ~\x7F\x80\x9F\xA0\xD7FF\xE000\xFFFD"));
    EXPECT_EQ(withXMLCharactersOnly(text), text);
    EXPECT_EQ(withXMLCharactersOnly(String::fromUTF8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF")),
              String::fromUTF8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(XMLTextTest, OthersAreReplaced) {
    for (int code = 0; code <= 0xFFFF; ++code) {
        const bool isControl = code < 0x20 && code != L'\t' && code != L'\n' && code != L'\r';
        const bool isHalf = code >= 0xD800 && code <= 0xDFFF;
        const auto character = static_cast<wchar_t>(code);
        const wchar_t wanted = isControl || isHalf || code >= 0xFFFE ? wchar_t{0xFFFD} : character;
        EXPECT_EQ(withXMLCharactersOnly(String(std::wstring{L'a', character, L'b'})),
                  String(std::wstring{L'a', wanted, L'b'}))
            << code;
    }
    if constexpr (sizeof(wchar_t) > 2) {
        EXPECT_EQ(withXMLCharactersOnly(String(std::wstring{static_cast<wchar_t>(0x110000)})),
                  String(std::wstring{wchar_t{0xFFFD}}));
    }
}

TEST(XMLTextTest, AnElementKeepsItsAttributesTextAndChildrenInOrder) {
    CProps attributes;
    attributes.add("b", "<\"&'\n");
    attributes.add("a", "");
    zet::CXMLElement root("root", attributes);
    const P<zet::CXMLElement> first = new zet::CXMLElement("first");
    first->setText(" a<b>&]]>\r\n\x01 ");
    root.addChild(first);
    const P<zet::CXMLElement> second = new zet::CXMLElement("second");
    second->addChild(new zet::CXMLElement("inner"));
    root.addChild(second);
    EXPECT_EQ(toXML(root), "<root b=\"&lt;&quot;&amp;'&#xA;\" a=\"\">\n"
                           " <first> a&lt;b&gt;&amp;]]&gt;&#xD;\n\xEF\xBF\xBD </first>\n"
                           " <second>\n"
                           "  <inner/>\n"
                           " </second>\n"
                           "</root>\n");
}

TEST(XMLTextTest, ATextIsUTF8) {
    zet::CXMLElement root("root");
    root.setText(String::fromUTF8("ä€\xF0\x9F\x98\x80"));
    EXPECT_EQ(toXML(root), "<root>ä€\xF0\x9F\x98\x80</root>\n");
}

}  // namespace vexil::app
