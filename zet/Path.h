#pragma once

#include "zet/Export.h"
#include "zet/String.h"

namespace zet {

/// How the system writes paths. The name is part of the interface on every system; on Linux the separator is
/// "/" alone.
struct ZET_API CWindowsPathTraits {
    /// Put between a folder and a name.
    static wchar_t getSeparator() noexcept;
    /// "/", and on Windows also "\\".
    static bool isSeparator(wchar_t character) noexcept;
    /// Whether the path begins with "/"; on Windows: with a drive and a separator, or with two separators.
    static bool isAbsolute(const String& path) noexcept;
};

/// Path of a file or folder, kept exactly as written. A plain value.
/// \tparam Traits  how the system writes paths: CWindowsPathTraits
template <class Traits>
class TPathImpl {
public:
    /// The empty path.
    TPathImpl() noexcept = default;
    /// A path as written; nothing is checked or changed.
    TPathImpl(const String& text) : m_text(text) {}
    /// A path in UTF-8, decoded as by String.
    TPathImpl(const char* text) : m_text(text) {}

    /// The path as written.
    const String& getText() const noexcept { return m_text; }
    /// Whether the path is "".
    bool isEmpty() const noexcept { return m_text.isEmpty(); }
    /// Whether the path does not depend on the working folder, as the traits tell.
    bool isAbsolute() const noexcept { return Traits::isAbsolute(m_text); }

    /// This folder's entry `name`, which may itself be a relative path. An empty folder gives `name` alone.
    TPathImpl join(const TPathImpl& name) const {
        String text = m_text;
        if (!text.isEmpty() && !Traits::isSeparator(text[text.length() - 1])) {
            text += Traits::getSeparator();
        }
        return text + name.getText();
    }

    /// Compares the texts: two ways to write one path differ.
    friend bool operator==(const TPathImpl&, const TPathImpl&) noexcept = default;

private:
    String m_text;
};

}  // namespace zet
