/// \file
/// libcurl's messages about transfers with a login, invented for any login. For the test of the redacted log
/// and its fuzzer; does not need GoogleTest.
#pragma once

#include "sigil/Base64.h"
#include "tests/net/VerboseLog.h"
#include "zet/URI.h"

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace vexil_test {

inline std::string toBase64(std::string_view bytes) {
    return sigil::base64Encode(bytes.data(), static_cast<int>(bytes.size()), true, false).toUTF8();
}

/// Each byte except the unreserved ones as "%2f".
inline std::string toPercentForm(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    static constexpr std::string_view marks = "-._~";
    std::string text;
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        const bool isAlphanumeric =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (isAlphanumeric || marks.find(c) != std::string_view::npos) {
            text += c;
        } else {
            text += {'%', digits[value >> 4], digits[value & 0xF]};
        }
    }
    return text;
}

/// The text with each of these characters replaced.
inline std::string without(std::string text, std::string_view characters, char replacement = '_') {
    for (char& c : text) {
        c = characters.find(c) == std::string_view::npos ? c : replacement;
    }
    return text;
}

/// The secrets of a transfer, in the forms that the protocols require.
struct Login {
    std::string user;          ///< for HTTP and SMTP, which send it in base64; no ":"
    std::string password;      ///< for HTTP and SMTP
    std::string lineUser;      ///< without line ends
    std::string linePassword;  ///< without line ends
    std::string token;         ///< without line ends, and without spaces at its ends
    std::string userInfo;      ///< "user:password" of a URL
};

enum class UserInfoForm { EscapesAll, EscapesSome, EscapesNothing };

inline std::string makeUserInfo(const std::string& user, const std::string& password, UserInfoForm form) {
    using namespace std::string_literals;
    if (form == UserInfoForm::EscapesAll) {
        return toPercentForm(user) + ":" + toPercentForm(password);
    }
    // As written by callers who do not escape, if it is a URL for libcurl.
    std::string controls = "\x7F"s;
    for (char c = 0; c < ' '; ++c) {
        controls += c;
    }
    std::string info = without(user, controls + "/?#:\\ ") + ":" + without(password, controls + "/?#\\ ");
    if (form == UserInfoForm::EscapesSome) {
        for (std::size_t at = info.find('@'); at != std::string::npos; at = info.find('@')) {
            info.replace(at, 1, "%40");
        }
    }
    return info;
}

inline Login makeLogin(const std::string& user, const std::string& password, UserInfoForm form) {
    using namespace std::string_literals;
    Login login;
    login.user = without(user, ":");
    login.password = password;
    // A name that contains a URL is shown only partly.
    login.lineUser = without(user, "\r\n\0/"s);
    login.linePassword = without(password, "\r\n\0"s);
    login.token = login.linePassword;
    if (!login.token.empty()) {
        login.token.front() = without(login.token.substr(0, 1), " \t\v\f").front();
        login.token.back() = without(login.token.substr(login.token.size() - 1), " \t\v\f").front();
    }
    login.userInfo = makeUserInfo(user, password, form);
    return login;
}

/// Another login that makes messages of the same lengths. It has no part of the first one except the name for
/// FTP, which is not a secret.
inline Login makeOtherLogin(const Login& login) {
    const auto fill = [](const std::string& text) { return std::string(text.size(), 'x'); };
    Login other{fill(login.user),         fill(login.password), login.lineUser,
                fill(login.linePassword), fill(login.token),    fill(login.userInfo)};
    other.userInfo[login.userInfo.find(':')] = ':';
    return other;
}

struct LogMessage {
    curl_infotype type;
    std::string bytes;
};

struct Exchange {
    std::string url;
    std::vector<LogMessage> messages;
    bool isHTTP = true;

    void send(const std::string& bytes) { messages.push_back({CURLINFO_HEADER_OUT, bytes}); }
    void receive(const std::string& bytes) { messages.push_back({CURLINFO_HEADER_IN, bytes}); }
    /// libcurl cuts a message after 2047 bytes, and the text of an error after 255.
    void remark(const std::string& text) { messages.push_back({CURLINFO_TEXT, text.substr(0, 2047) + "\n"}); }
    void error(const std::string& text) { messages.push_back({CURLINFO_TEXT, text.substr(0, 255) + "\n"}); }
};

inline Exchange makeHTTPExchange(const Login& login, int variant) {
    const std::string basic = toBase64(login.user + ":" + login.password);
    const std::string authorizations[] = {"Basic " + basic, "Bearer " + login.token,
                                          "AWS " + login.token + ":" + toBase64(login.password)};
    Exchange exchange{"http://" + login.userInfo + "@host/a@b", {}};
    exchange.remark("  Trying 127.0.0.1:80...");
    exchange.remark("Connected to host (127.0.0.1) port 80 (#0)");
    exchange.remark("Server auth using Basic with user '" + login.user + "'");
    exchange.send("GET /a@b HTTP/1.1\r\nHost: host\r\n" +
                  std::string(variant % 2 == 0 ? "Authorization: " : "authorization:") +
                  authorizations[variant % 3] + "\r\nAccept: */*\r\nCookie: a=" + login.token +
                  "; b=c\r\nX-Amz-Security-Token: " + login.token + "\r\nReferer: " + exchange.url +
                  "\r\n\r\n");
    exchange.receive("HTTP/1.1 302 Found\r\n");
    exchange.receive("Server: nginx\r\n");
    exchange.receive("Set-Cookie: a=" + login.token + "; Secure\r\n");
    exchange.receive("Location: " + exchange.url + "\r\n");
    exchange.receive("Content-Length: 154\r\n");
    exchange.receive("\r\n");
    exchange.remark("Added cookie a=\"" + login.token + "\" for domain host, path /, expire 0");
    exchange.remark("Replaced cookie a=\"" + login.token + "\" for domain host, path /, expire 0");
    exchange.remark("Issue another request to this URL: '" + exchange.url + "'");
    exchange.remark("Connection #0 to host host left intact");
    return exchange;
}

inline Exchange makeHTTP2Exchange(const Login& login, int variant) {
    const std::string authorization =
        variant % 2 == 0 ? "Basic " + toBase64(login.user + ":" + login.password) : "Bearer " + login.token;
    const std::string start = variant % 3 == 0 ? "h2h3 [" : "[HTTP/2] [1] [";
    Exchange exchange{"https://" + login.userInfo + "@host/", {}};
    exchange.remark("using HTTP/2");
    exchange.remark("Server auth using Basic with user '" + login.user + "'");
    exchange.remark(start + ":method: GET]");
    exchange.remark(start + ":path: /a]");
    exchange.remark(start + "authorization: " + authorization + "]");
    exchange.remark(start + "proxy-authorization: " + authorization + "]");
    exchange.remark(start + "cookie: " + login.token + "]");
    exchange.remark(start + "x-amz-security-token: " + login.token + "]");
    exchange.remark(start + "referer: " + exchange.url + "]");
    exchange.remark("Using Stream ID: 1 (easy handle 0x1)");
    exchange.send("GET /a HTTP/2\r\nHost: host\r\nauthorization: " + authorization + "\r\ncookie: " +
                  login.token + "\r\nx-amz-security-token: " + login.token + "\r\naccept: */*\r\n\r\n");
    exchange.receive("HTTP/2 200 \r\n");
    exchange.receive("server: nginx\r\n");
    exchange.receive("set-cookie: a=" + login.token + "\r\n");
    exchange.receive("content-location: " + exchange.url + "\r\n");
    exchange.receive("\r\n");
    return exchange;
}

inline Exchange makeProxyExchange(const Login& login, int variant) {
    const std::string header =
        "Proxy-Authorization: Basic " + toBase64(login.user + ":" + login.password) + "\r\n";
    Exchange exchange{"ftp://" + login.userInfo + "@host/a", {}};
    exchange.remark("Uses proxy env variable http_proxy == '" + login.userInfo + "@proxy:3128'");
    exchange.remark("Uses proxy env variable all_proxy == 'http://" + login.userInfo + "@proxy:3128'");
    exchange.remark("Proxy auth using Basic with user '" + login.user + "'");
    if (variant % 2 == 0) {
        exchange.send("GET " + exchange.url + " HTTP/1.1\r\nHost: host:21\r\n" + header +
                      "Proxy-Connection: Keep-Alive\r\n\r\n");
        exchange.receive("HTTP/1.1 200 OK\r\n");
    } else {
        exchange.remark("Establish HTTP proxy tunnel to host:443");
        exchange.send("CONNECT host:443 HTTP/1.1\r\nHost: host:443\r\n" + header + "\r\n");
        exchange.receive("HTTP/1.0 407 Proxy Authentication Required\r\n");
        exchange.receive("Proxy-Authenticate: Basic realm=\"tinyproxy\"\r\n");
    }
    exchange.receive("\r\n");
    exchange.error("Unsupported proxy syntax in '" + login.userInfo +
                   "@proxy:x': Port number was not a decimal");
    exchange.error("Unsupported proxy scheme for 'odd://" + login.userInfo + "@proxy'");
    return exchange;
}

inline Exchange makeFTPExchange(const Login& login, int variant) {
    Exchange exchange{"ftp://" + login.userInfo + "@host/a", {}, false};
    exchange.receive("220-ready\r\n");
    exchange.receive("220 for you\r\n");
    exchange.send("AUTH SSL\r\n");
    exchange.receive("500 no\r\n");
    exchange.send("AUTH TLS\r\n");
    exchange.receive("234 yes\r\n");
    exchange.send("USER " + login.lineUser + "\r\n");
    exchange.receive("331 Password required\r\n");
    exchange.send("PASS " + login.linePassword + "\r\n");
    exchange.receive(variant % 3 == 0 ? "530 Login incorrect\r\n" : "332 Account required\r\n");
    exchange.send((variant % 2 == 0 ? "ACCT " : "acct ") + login.linePassword + "\r\n");
    exchange.receive("230 welcome\r\n");
    exchange.send("PWD\r\n");
    exchange.receive("257 \"/\" is the current directory\r\n");
    exchange.send("EPSV\r\n");
    exchange.receive("229 Entering extended passive mode (|||2000|).\r\n");
    return exchange;
}

inline Exchange makeSMTPExchange(const Login& login, int variant) {
    using namespace std::string_literals;
    const bool isAtOnce = variant % 2 == 0;
    const bool isPlain = variant / 2 % 2 == 0;
    const std::string first =
        toBase64(isPlain ? "\0"s + login.user + "\0"s + login.password : std::string(login.user));
    Exchange exchange{"smtp://" + login.userInfo + "@host", {}, false};
    exchange.receive("220 ready\r\n");
    exchange.send("EHLO client\r\n");
    exchange.receive("250-host\r\n");
    exchange.receive("250 AUTH PLAIN LOGIN\r\n");
    exchange.send((isPlain ? "AUTH PLAIN"s : "AUTH LOGIN"s) + (isAtOnce ? " " + first : ""s) + "\r\n");
    if (!isAtOnce) {
        exchange.receive("334 VXNlcm5hbWU6\r\n");
        exchange.send(first + "\r\n");
    }
    if (!isPlain) {
        exchange.receive("334 UGFzc3dvcmQ6\r\n");
        exchange.send(toBase64(login.password) + "\r\n");
    }
    exchange.receive(variant % 3 == 0 ? "535 5.7.8 refused\r\n" : "235 2.7.0 accepted\r\n");
    exchange.send("MAIL FROM:<a@example.com>\r\n");
    exchange.receive("250 OK\r\n");
    return exchange;
}

using MakeExchange = Exchange (*)(const Login& login, int variant);

inline constexpr MakeExchange exchangeMakers[] = {makeHTTPExchange, makeHTTP2Exchange, makeProxyExchange,
                                                  makeFTPExchange, makeSMTPExchange};

enum class Division {
    None,
    Pieces,    ///< the sent bytes, divided at random places; later pieces of an HTTP head also as data
    LostRest,  ///< libcurl sends a command in two parts and does not report the second one; HTTP as Pieces
};

using Choose = std::function<std::size_t(std::size_t count)>;

inline void appendPieces(std::vector<LogMessage>& divided, LogMessage message, bool isHTTP,
                         const Choose& choose) {
    const std::size_t longest = 1 + choose(120);
    while (message.bytes.size() > longest) {
        const std::size_t count = 1 + choose(longest);
        divided.push_back({message.type, message.bytes.substr(0, count)});
        message.bytes.erase(0, count);
        if (isHTTP && message.type == CURLINFO_HEADER_OUT && choose(4) == 0) {
            message.type = CURLINFO_DATA_OUT;
        }
    }
    divided.push_back(message);
}

/// Divides messages of the same lengths in the same way. `choose` gives a number below `count`.
inline void divide(Exchange& exchange, Division division, const Choose& choose) {
    const bool mayLose = division == Division::LostRest && !exchange.isHTTP;
    std::vector<LogMessage> divided;
    for (const LogMessage& message : exchange.messages) {
        const bool isSent = message.type == CURLINFO_HEADER_OUT;
        if (division == Division::None || message.type == CURLINFO_TEXT) {
            divided.push_back(message);
        } else if (!mayLose) {
            appendPieces(divided, message, exchange.isHTTP, choose);
        } else if (isSent && choose(3) == 0) {
            divided.push_back({message.type, message.bytes.substr(0, 1 + choose(message.bytes.size() - 1))});
        } else {
            divided.push_back(message);
        }
    }
    exchange.messages = std::move(divided);
}

inline void record(LogRequest& request, const Exchange& exchange) {
    request.resetForPerform();
    request.setURL(zet::String::fromUTF8Lossy(exchange.url));
    for (const LogMessage& message : exchange.messages) {
        request.log(message.type, message.bytes);
    }
}

}  // namespace vexil_test
