#include "apps/vexil/files/PartName.h"

#include "sigil/Digest.h"
#include "zet/MTRand.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

// In bytes also on Windows: the part may be on a server or a network drive that counts bytes. There are never
// more UTF-16 units than bytes of UTF-8.
constexpr std::size_t maxStemBytes = 200;
constexpr std::string_view partEnding = ".vexil-part-";
constexpr std::string_view oldEnding = "-old";
constexpr std::size_t digitCount = 16;
constexpr char hexDigits[] = "0123456789abcdef";

/// The parts of a name.
struct Layout {
    std::size_t stemLength;
    bool isOld;
};

template <class Char>
Char toLower(Char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<Char>(character - 'A' + 'a') : character;
}

template <class Char>
bool isHexDigit(Char character) {
    const Char lower = toLower(character);
    return (lower >= '0' && lower <= '9') || (lower >= 'a' && lower <= 'f');
}

template <class Char>
bool endsWith(std::basic_string_view<Char> text, std::string_view ending) {
    return text.size() >= ending.size() &&
           std::equal(ending.begin(), ending.end(), text.end() - static_cast<std::ptrdiff_t>(ending.size()),
                      [](char expected, Char character) {
                          return static_cast<Char>(expected) == toLower(character);
                      });
}

template <class Char>
std::optional<Layout> findLayout(std::basic_string_view<Char> name) {
    const bool isOld = endsWith(name, oldEnding);
    if (isOld) {
        name.remove_suffix(oldEnding.size());
    }
    if (name.size() < digitCount || name.front() != '.' ||
        !std::all_of(name.end() - digitCount, name.end(), isHexDigit<Char>)) {
        return std::nullopt;
    }
    name.remove_suffix(digitCount);
    if (!endsWith(name, partEnding) || name.size() < partEnding.size() + 2) {
        return std::nullopt;
    }
    return Layout{name.size() - partEnding.size() - 1, isOld};
}

std::optional<Layout> findLayoutOf(const fs::path& name) {
    return findLayout(std::basic_string_view<fs::path::value_type>(name.native()));
}

}  // namespace

fs::path makePartName(const fs::path& target, const String& digits) {
    std::u8string stem = target.filename().u8string();
    if (stem.size() > maxStemBytes) {
        // Do not cut within a character: some file systems refuse that.
        std::size_t end = maxStemBytes;
        while (end > 0 && (stem[end] & 0xC0) == 0x80) {
            --end;
        }
        stem.resize(end);
    }
    fs::path name = ".";
    name += fs::path(stem);
    name += partEnding;
    name += digits.toUTF8();
    return name;
}

String makeRandomDigits(int count) {
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    zet::uint64 number = zet::CMTRand::getGlobal()->rand64();
    std::string text(static_cast<std::size_t>(count), '0');
    for (char& digit : text) {
        digit = hexDigits[number % 16];
        number /= 16;
    }
    return text.c_str();
}

String makeDigitsFor(const String& content) {
    const std::string bytes = content.toUTF8();
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    digest->update(bytes.data(), static_cast<int>(bytes.size()));
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    std::string text;
    for (std::size_t i = 0; i < digitCount / 2; ++i) {
        text += hexDigits[hash.getData()[i] / 16];
        text += hexDigits[hash.getData()[i] % 16];
    }
    return text.c_str();
}

std::optional<PartName> findPartName(const String& name) {
    const auto layout = findLayout(name.view());
    if (!layout) {
        return std::nullopt;
    }
    const String stem = name.substr(1, layout->stemLength);
    const String digits = name.substr(1 + layout->stemLength + partEnding.size(), digitCount);
    // A name that is at most four bytes shorter than the limit was not cut: no character is longer.
    const bool isWhole = stem.toUTF8().size() + 4 <= maxStemBytes;
    return PartName{isWhole ? stem : String(), digits.toLower(), layout->isOld};
}

bool isPartName(const fs::path& name) {
    return findLayoutOf(name).has_value();
}

bool arePartsOfOneFile(const fs::path& first, const fs::path& second) {
    const auto firstLayout = findLayoutOf(first);
    const auto secondLayout = findLayoutOf(second);
    return firstLayout && secondLayout && !firstLayout->isOld && !secondLayout->isOld &&
           first.native().substr(1, firstLayout->stemLength) ==
               second.native().substr(1, secondLayout->stemLength);
}

}  // namespace vexil::app
