// The debug data of a transfer: with the input as the login, or with the input itself as messages.
#include "fuzz/FuzzInput.h"
#include "tests/net/RedactionExchange.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vexil;
using vexil_test::Exchange;
using vexil_test::Login;
using vexil_test::LogRequest;

constexpr unsigned int whole = std::numeric_limits<unsigned int>::max();

P<LogRequest> makeRequest() {
    P<LogRequest> request = new LogRequest;
    request->setVerboseSettings(VerboseLogBoth, VerboseLogNone);
    return request;
}

std::string dumpRedacted(LogRequest& request, unsigned int maxLength) {
    return vexil_test::dump(*request.getRedactedVerboseOutput(maxLength));
}

/// Takes numbers from the front of the input; the largest one is past its end and divides it least.
class Numbers {
public:
    explicit Numbers(std::string_view bytes) : m_bytes(bytes) {}

    std::size_t choose(std::size_t count) {
        if (m_position == m_bytes.size()) {
            return count - 1;
        }
        return static_cast<unsigned char>(m_bytes[m_position++]) % count;
    }

private:
    std::string_view m_bytes;
    std::size_t m_position = 0;
};

/// White space at the ends, and the visible part of it at a cut, contain no secret.
std::string withoutSpace(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return text;
}

/// Whether a text is another text with parts left out.
bool isPartOf(const std::string& text, const std::string& otherText) {
    auto at = otherText.begin();
    for (const char c : text) {
        at = std::find(at, otherText.end(), c);
        if (at == otherText.end()) {
            return false;
        }
        ++at;
    }
    return true;
}

/// If a login looks like a header or a URL, more may be hidden than for another login, but no more is shown.
void checkLogin(std::string_view divisions, const std::string& user, const std::string& password) {
    static const P<LogRequest> request = makeRequest();
    static const P<LogRequest> otherRequest = makeRequest();
    Numbers choices(divisions);
    const auto make = vexil_test::exchangeMakers[choices.choose(std::size(vexil_test::exchangeMakers))];
    const auto variant = static_cast<int>(choices.choose(12));
    const auto division = static_cast<vexil_test::Division>(choices.choose(3));
    const auto form = static_cast<vexil_test::UserInfoForm>(choices.choose(3));
    const Login login = vexil_test::makeLogin(user, password, form);
    Exchange exchange = make(login, variant);
    Exchange other = make(vexil_test::makeOtherLogin(login), variant);
    for (Exchange* divided : {&exchange, &other}) {
        Numbers numbers(divisions.substr(std::min<std::size_t>(4, divisions.size())));
        vexil_test::divide(*divided, division, [&](std::size_t count) { return numbers.choose(count); });
    }
    vexil_test::record(*request, exchange);
    vexil_test::record(*otherRequest, other);
    const std::string text = withoutSpace(dumpRedacted(*request, whole));
    const std::string otherText = withoutSpace(dumpRedacted(*otherRequest, whole));
    vexil_fuzz::require(isPartOf(text, otherText));
}

/// The text that the log shows for a message, without the marks for hidden credentials.
std::string showRest(const zet::CXMLElement& element) {
    static constexpr std::string_view stripped = "~stripped~";
    std::string text = withoutSpace(element.getText().toUTF8());
    for (std::size_t at = text.find(stripped); at != std::string::npos; at = text.find(stripped, at)) {
        text.erase(at, stripped.size());
    }
    return text;
}

/// A message for each part of the input after a byte below 8, which is its kind. Without the hidden parts of
/// headers and libcurl messages, the rest is unchanged and in its order.
void checkMessages(std::string_view script) {
    static const P<LogRequest> request = makeRequest();
    request->resetForPerform();
    std::vector<std::string> messages;
    while (!script.empty()) {
        const auto type = static_cast<curl_infotype>(script.front() & 7);
        const auto isType = [](char c) { return c >= 0 && c < 8; };
        const auto end = std::find_if(script.begin() + 1, script.end(), isType);
        const std::string_view bytes(script.begin() + 1, end);
        request->log(type, bytes);
        const bool isShownPlain = type <= CURLINFO_HEADER_OUT;
        messages.push_back(isShownPlain ? String::fromLatin1(bytes).toUTF8() : "");
        script.remove_prefix(1 + bytes.size());
    }
    const auto elements = request->getRedactedVerboseOutput(whole)->getChildren();
    vexil_fuzz::require(elements.size() == messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        vexil_fuzz::require(messages[i].empty() || isPartOf(showRest(*elements[i]), messages[i]));
    }
    dumpRedacted(*request, 13);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Up to the first line end the divisions, up to the second one the name, then the password.
    const std::string_view text = vexil_fuzz::textOf(data, size);
    checkMessages(text);
    const std::size_t first = std::min(text.find('\n'), text.size());
    const std::string_view login = text.substr(std::min(first + 1, text.size()));
    const std::size_t second = std::min(login.find('\n'), login.size());
    const std::string user(login.substr(0, second));
    const std::string password(login.substr(std::min(second + 1, login.size())));
    if (!user.empty() && user.size() <= 300 && password.size() <= 300) {
        checkLogin(text.substr(0, first), user, password);
    }
    return 0;
}
