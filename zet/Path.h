#pragma once

#include "zet/Export.h"
#include "zet/String.h"

namespace zet {

/// How the system writes paths. The class has this name on every system. On Linux "/" is the only separator.
struct ZET_API CWindowsPathTraits {
    /// Separates a folder and a name: "\\" on Windows, otherwise "/".
    static wchar_t getSeparator() noexcept;
    /// "/", and on Windows also "\\".
    static bool isSeparator(wchar_t character) noexcept;
    /// True if the path begins with "/"; on Windows: with a drive and a separator, or with two separators.
    static bool isAbsolute(const String& path) noexcept;
};

/// Path of a file or folder, exactly as it was written. A plain value.
/// \tparam Traits  how the system writes paths: CWindowsPathTraits
template <class Traits>
class TPathImpl {
public:
    /// The empty path.
    TPathImpl() noexcept = default;
    /// A path as it is; nothing is checked or changed.
    TPathImpl(const String& text) : m_text(text) {}
    /// A path in UTF-8, decoded strictly.
    TPathImpl(const char* text) : m_text(text) {}

    /// The path as it was written.
    [[nodiscard]] const String& getText() const noexcept { return m_text; }
    /// True if the path is "".
    [[nodiscard]] bool isEmpty() const noexcept { return m_text.isEmpty(); }
    /// True if the path does not depend on the working folder: Traits::isAbsolute().
    [[nodiscard]] bool isAbsolute() const noexcept { return Traits::isAbsolute(m_text); }

    /// The entry `name` of this folder. `name` may be a relative path. If this path is empty: `name`.
    [[nodiscard]] TPathImpl join(const TPathImpl& name) const {
        String text = m_text;
        if (!text.isEmpty() && !Traits::isSeparator(text[text.length() - 1])) {
            text += Traits::getSeparator();
        }
        return text + name.getText();
    }

    /// Compares the texts. Two different texts for the same path are not equal.
    friend bool operator==(const TPathImpl&, const TPathImpl&) noexcept = default;

private:
    String m_text;
};

}  // namespace zet
