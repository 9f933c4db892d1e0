#pragma once

#include "vexil/net/NetRequest.h"

#include <string>
#include <string_view>
#include <vector>

namespace vexil_test {

/// A request whose verbose log the test fills instead of libcurl.
class LogRequest : public vexil::CNetRequest {
public:
    using CNetRequest::createVerboseXmlElement;

    LogRequest() { setVerbose(true); }

    /// Reports a message through libcurl's callback.
    void log(curl_infotype type, std::string_view bytes) {
        std::string copy(bytes);
        _curlDebugFunctionCallback(getHandle(), type, copy.data(), copy.size(), this);
    }
};

/// An element as one line, "receive type=header|text", without the time, which differs.
inline std::string describe(const zet::CXMLElement& element) {
    std::string line = element.getName().toUTF8();
    for (const auto& [name, value] : element.getAttributes().getEntries()) {
        if (!(name == "logTime")) {
            line += " " + name.toUTF8() + "=" + value.toUTF8();
        }
    }
    return line + "|" + element.getText().toUTF8();
}

inline std::vector<std::string> describeChildren(const zet::CXMLElement& root) {
    std::vector<std::string> lines;
    for (const vexil::P<zet::CXMLElement>& child : root.getChildren()) {
        lines.push_back(describe(*child));
    }
    return lines;
}

/// The whole tree as text: every name, attribute and text.
inline std::string dump(const zet::CXMLElement& root) {
    std::string text = describe(root) + "\n";
    for (const std::string& line : describeChildren(root)) {
        text += line + "\n";
    }
    return text;
}

}  // namespace vexil_test
