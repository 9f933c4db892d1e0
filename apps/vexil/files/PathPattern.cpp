#include "apps/vexil/files/PathPattern.h"

#include "apps/vexil/base/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil::app {

namespace {

using Set = std::bitset<256>;

std::size_t toIndex(char byte) {
    return static_cast<unsigned char>(byte);
}

struct CNamedClass {
    std::string_view name;
    std::string_view ranges;  // pairs of a first and a last byte
};

// Of ASCII, whatever the language of the system.
constexpr std::array<CNamedClass, 12> namedClasses = {{
    {"alnum", "09AZaz"},
    {"alpha", "AZaz"},
    {"\x62lank", "\t\t  "},  // [:space:] of one line
    {"cntrl", {"\0\x1F\x7F\x7F", 4}},
    {"digit", "09"},
    {"graph", "!~"},
    {"lower", "az"},
    {"print", " ~"},
    {"punct", "!/:@[`{~"},
    {"space", "\t\r  "},
    {"upper", "AZ"},
    {"xdigit", "09AFaf"},
}};

void addRange(Set& set, char first, char last) {
    for (std::size_t byte = toIndex(first); byte <= toIndex(last); ++byte) {
        set.set(byte);
    }
}

}  // namespace

/// Takes a pattern apart.
class CPathPattern::CReader {
public:
    CReader(CPathPattern& pattern, std::string_view whole, std::string_view text)
        : m_pattern(pattern), m_whole(whole), m_text(text) {}

    void read() {
        while (m_position < m_text.size()) {
            readPiece();
        }
    }

    [[noreturn]] static void fail(std::string_view whole, const char* problem) {
        throw CInvalidArgError("CPathPattern", "the pattern '" + printableBytes(whole) + "' " + problem);
    }

private:
    void readPiece() {
        const char byte = m_text[m_position];
        if (byte == '*') {
            readStars();
        } else if (byte == '?') {
            ++m_position;
            add(Kind::AnyByte);
        } else if (byte == '[') {
            ++m_position;
            readSet();
        } else {
            add(Kind::Byte, takeByte());
        }
    }

    /// One byte, perhaps after a "\".
    char takeByte() {
        if (m_text[m_position] == '\\' && ++m_position == m_text.size()) {
            fail(m_whole,
                 "ends with a '\\', which belongs before another character; a '\\' itself is written as "
                 "'\\\\'");
        }
        return m_text[m_position++];
    }

    void readStars() {
        const bool isAtName = m_position == 0 || m_text[m_position - 1] == '/';
        const std::size_t end = std::min(m_text.find_first_not_of('*', m_position), m_text.size());
        const bool isDouble = end - m_position > 1 && isAtName;
        m_position = end;
        const std::string_view rest = m_text.substr(end);
        if (isDouble && rest.empty()) {
            add(Kind::Rest);
        } else if (isDouble && (rest.starts_with('/') || rest.starts_with("\\/"))) {
            m_position += rest.starts_with('/') ? 1 : 2;
            add(Kind::Folders);
        } else {
            add(Kind::Bytes);
        }
    }

    void readSet() {
        const bool isNegated = peek() == '!' || peek() == '^';
        m_position += isNegated ? 1 : 0;
        Set set;
        // A "]" at the beginning is one of the set.
        do {
            if (!readNamedClass(set)) {
                readRange(set);
            }
        } while (peek() != ']');
        ++m_position;
        set = isNegated ? ~set : set;
        set.reset(toIndex('/'));
        m_pattern.m_sets.push_back(set);
        add(Kind::Set, 0, m_pattern.m_sets.size() - 1);
    }

    /// "[:digit:]" and the like.
    bool readNamedClass(Set& set) {
        const std::string_view rest = m_text.substr(m_position);
        const std::size_t end = rest.starts_with("[:") ? rest.find(']', 2) : rest.npos;
        if (end == rest.npos || end < 3 || rest[end - 1] != ':') {
            return false;
        }
        const std::string_view name = rest.substr(2, end - 3);
        const auto* const found = std::find_if(namedClasses.begin(), namedClasses.end(),
                                               [&](const CNamedClass& known) { return known.name == name; });
        if (found == namedClasses.end()) {
            fail(m_whole, "has an unknown name between '[:' and ':]'");
        }
        for (std::size_t i = 0; i < found->ranges.size(); i += 2) {
            addRange(set, found->ranges[i], found->ranges[i + 1]);
        }
        m_position += end + 1;
        return true;
    }

    void readRange(Set& set) {
        static_cast<void>(peek());
        const char first = takeByte();
        char last = first;
        if (peek() == '-' && m_position + 1 < m_text.size() && m_text[m_position + 1] != ']') {
            ++m_position;
            last = takeByte();
        }
        if (toIndex(last) < toIndex(first)) {
            fail(m_whole, "has a range that ends before it begins");
        }
        addRange(set, first, last);
    }

    char peek() const {
        if (m_position >= m_text.size()) {
            fail(m_whole, "has a '[' without its ']'; a '[' itself is written as '\\['");
        }
        return m_text[m_position];
    }

    void add(Kind kind, char byte = 0, std::size_t set = 0) {
        m_pattern.m_pieces.push_back({kind, byte, set});
    }

    CPathPattern& m_pattern;
    std::string_view m_whole;
    std::string_view m_text;
    std::size_t m_position = 0;
};

CPathPattern::CPathPattern(std::string_view pattern) {
    std::string_view text = pattern;
    if (text.ends_with('/')) {
        m_isForFolders = true;
        text.remove_suffix(1);
    }
    m_isForNames = text.find('/') == text.npos;
    if (text.starts_with('/')) {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        CReader::fail(pattern, "has no name in it");
    }
    CReader(*this, pattern, text).read();
}

// Follows all ways through the pattern at once, so that no pattern takes long: for each number of bytes at
// the beginning of the path, whether the pieces so far match them.
bool CPathPattern::matches(std::string_view path, bool isFolder) const {
    if (m_isForFolders && !isFolder) {
        return false;
    }
    const std::string_view text = m_isForNames ? path.substr(path.rfind('/') + 1) : path;
    std::vector<bool> reached(text.size() + 1);
    reached[0] = true;
    for (const CPiece& piece : m_pieces) {
        std::vector<bool> next(text.size() + 1);
        bool isWithin = false;  // "*" and "**" go on
        for (std::size_t i = 0; i <= text.size(); ++i) {
            const bool wasReached = reached[i];
            isWithin = isWithin || wasReached;
            switch (piece.kind) {
            case Kind::Bytes:
                next[i] = isWithin;
                isWithin = isWithin && i < text.size() && text[i] != '/';
                break;
            case Kind::Folders:
                next[i] = wasReached || (isWithin && text[i - 1] == '/');
                break;
            case Kind::Rest:
                next[i] = isWithin;
                break;
            default:
                if (wasReached && i < text.size() &&
                    (piece.kind == Kind::Byte      ? text[i] == piece.byte
                     : piece.kind == Kind::AnyByte ? text[i] != '/'
                                                   : m_sets[piece.set][toIndex(text[i])])) {
                    next[i + 1] = true;
                }
            }
        }
        reached = std::move(next);
    }
    return reached.back();
}

}  // namespace vexil::app
