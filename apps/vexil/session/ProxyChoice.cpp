#include "apps/vexil/session/ProxyChoice.h"

#include "apps/vexil/base/Text.h"
#include "vexil/proxy/ProxySettings.h"

#include <algorithm>
#include <string_view>

namespace vexil::app {

namespace {

bool isControl(wchar_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

// The Unicode property White_Space.
bool isWhiteSpace(wchar_t character) {
    return std::wstring_view(L" \t\n\v\f\r\x85\xA0\x1680\x2028\x2029\x202F\x205F\x3000").find(character) !=
               std::wstring_view::npos ||
           (character >= 0x2000 && character <= 0x200A);
}

bool isUTF8(const std::string& value) {
    try {
        static_cast<void>(String::fromUTF8(value));
        return true;
    } catch (const CError&) {
        return false;
    }
}

}  // namespace

CProxyChoice::CProxyChoice(const std::string& value) : m_value(String::fromUTF8(value)) {
    if (dependsOnURL()) {
        // Users and systems write them so.
        CProxySettings::getUserSettings()->setDirectConnectPatterns(true);
    }
}

String CProxyChoice::explain(const String& url) const {
    return dependsOnURL() ? CProxySettings::getUserSettings()->explain(url).toText()
                          : printable(withoutLogin(m_value)) + " (--proxy)";
}

void CProxyChoice::setUp(CNetRequest& request) const {
    if (m_value == "system") {
        request.setProxyForCurrentURLFromUserSettings();
    } else {
        request.setProxy(m_value == "none" ? String() : m_value);
    }
    if (request.getResponseCodeDomain() == "ftp") {
        // An HTTP proxy without a tunnel would get the password, and every response of it would count as
        // success.
        request.setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
    }
}

std::string CProxyChoice::findProblem(const std::string& value) {
    if (value.empty()) {
        return "the value is empty";
    }
    const String text = String::fromUTF8Lossy(value);
    const std::wstring_view characters = text.view();
    const auto problemWith = [&text](const char* what) {
        return "'" + printable(withoutLogin(text)).toUTF8() + "' has " + what + " in it";
    };
    if (std::any_of(characters.begin(), characters.end(), isWhiteSpace)) {
        return problemWith("white space");
    }
    if (std::any_of(characters.begin(), characters.end(), isControl)) {
        return problemWith("a control character");
    }
    return isUTF8(value) ? std::string() : problemWith("something that is not UTF-8");
}

}  // namespace vexil::app
