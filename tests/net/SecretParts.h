#pragma once

#include "tests/net/RedactionExchange.h"
#include "zet/String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_set>

namespace vexil_test {

/// Searches a log for secrets: plain, in base64, and both of them URL-encoded up to twice, as the log does
/// with data.
///
/// A part of six bytes counts as found. Shorter parts would be found by chance. A secret may also look like
/// words of the protocol: a part does not count if the log of the same transfer with another login contains
/// it as well.
class SecretParts {
public:
    static constexpr std::size_t partLength = 6;

    /// The secret itself and in base64.
    void add(const std::string& secret) {
        addParts(toBase64(secret));
        addParts(secret);
        const std::string shown = zet::String::fromLatin1(secret).toUTF8();
        if (shown != secret) {
            addParts(shown);
        }
    }

    /// Also the forms that HTTP and SMTP send.
    void addLogin(const std::string& user, const std::string& password) {
        using namespace std::string_literals;
        add(user);
        add(password);
        add(user + ":" + password);
        add("\0"s + user + "\0"s + password);
    }

    /// The first part that is in a log but not in the other one; "" if there is none.
    std::string findIn(const std::string& log, const std::string& otherLog = {}) const {
        std::string text = log;
        for (int level = 0; level < 3; ++level) {
            const std::string found = findInDecoded(text, otherLog, level);
            if (!found.empty() || text.find('%') == std::string::npos) {
                return found;
            }
            text = decode(text);
        }
        return "";
    }

private:
    using Part = std::uint64_t;

    static Part partAt(const char* bytes) {
        Part part = 0;
        std::memcpy(&part, bytes, partLength);
        return part;
    }

    static std::size_t hash(Part part) { return part * 0x9E3779B97F4A7C15u >> 48; }

    void addParts(std::string_view text) {
        for (std::size_t i = 0; i + partLength <= text.size(); ++i) {
            const Part part = partAt(text.data() + i);
            m_parts.insert(part);
            m_mayBe[hash(part)] = true;
        }
    }

    std::string findInDecoded(const std::string& text, const std::string& otherLog, int level) const {
        const bool* const mayBe = m_mayBe.data();
        const char* const begin = text.data();
        const char* const end = begin + text.size();
        for (const char* at = begin; at + partLength <= end; ++at) {
            const Part part = partAt(at);
            if (mayBe[hash(part)] && m_parts.contains(part)) {
                const std::string found(at, partLength);
                if (decode(otherLog, level).find(found) == std::string::npos) {
                    return found;
                }
            }
        }
        return "";
    }

    static int digitOf(char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                      : -1;
    }

    static std::string decode(const std::string& text) {
        std::string decoded;
        std::size_t begin = 0;
        for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
            if (at + 2 < text.size() && digitOf(text[at + 1]) >= 0 && digitOf(text[at + 2]) >= 0) {
                decoded.append(text, begin, at - begin);
                decoded += static_cast<char>(digitOf(text[at + 1]) << 4 | digitOf(text[at + 2]));
                begin = at + 3;
                at += 2;
            }
        }
        decoded.append(text, begin);
        return decoded;
    }

    static std::string decode(std::string text, int times) {
        for (; times > 0; --times) {
            text = decode(text);
        }
        return text;
    }

    std::unordered_set<Part> m_parts;
    std::array<bool, 65536> m_mayBe{};
};

/// Random logins, the same ones for the same seed.
class RandomLogins {
public:
    explicit RandomLogins(unsigned int seed) : m_random(seed) {}

    std::size_t choose(std::size_t count) { return m_random() % count; }

    /// With this length in bytes: printable ASCII; UTF-8; characters with a meaning in protocols; words of
    /// protocols; any byte.
    std::string makeText(std::size_t length) {
        const std::size_t kind = choose(5);
        std::string text = kind == 3 ? makeWords(length) : "";
        while (text.size() < length) {
            text += makeCharacter(kind);
        }
        text.resize(length);
        return text;
    }

private:
    std::string makeWords(std::size_t length) {
        static const char* const words[] = {"Authorization: Basic ",
                                            "Cookie: a=b",
                                            "PASS ",
                                            "USER anonymous",
                                            "ACCT ",
                                            "AUTH PLAIN ",
                                            "235 accepted",
                                            "535 refused",
                                            "Set-Cookie: ",
                                            " HTTP/1.1",
                                            "http://a:b@c/",
                                            "\" for domain ",
                                            "' with user '",
                                            "h2h3 [cookie: a]",
                                            "~stripped~",
                                            "Location: //a@b",
                                            "=\"",
                                            "://",
                                            "Uses proxy env variable "};
        std::string text;
        while (text.size() < length) {
            text += words[choose(std::size(words))];
            for (std::size_t count = choose(8); count > 0; --count) {
                text += makeCharacter(0);
            }
        }
        return text;
    }

    std::string makeCharacter(std::size_t kind) {
        static constexpr std::string_view meaningful = " :@%'\"\\/?#&=;,+<>[]{}()!$*|^`~\t";
        static const char* const others[] = {"ä",  "ß", "é", "€",        "漢",
                                             "字", "Ж", "😀", "\xC2\xA0", "\xC2\x85"};
        switch (kind) {
        case 1:
            return choose(3) == 0 ? std::string(1, static_cast<char>(' ' + choose(95)))
                                  : others[choose(std::size(others))];
        case 2:
            return std::string(1, meaningful[choose(meaningful.size())]);
        case 4:
            return std::string(1, static_cast<char>(choose(256)));
        default:
            return std::string(1, static_cast<char>(' ' + choose(95)));
        }
    }

    std::mt19937 m_random;
};

}  // namespace vexil_test
