#pragma once

#include "zet/Export.h"
#include "zet/String.h"

namespace zet {

/// How the system writes paths. The name is part of the interface on every system; on Linux the separator is
/// "/" alone.
struct ZET_API CWindowsPathTraits {
    /// Put between a folder and a name.
    static wchar_t getSeparator() noexcept;
    static bool isSeparator(wchar_t character) noexcept;
    static bool isAbsolute(const String& path) noexcept;
};

/// Path of a file or folder, kept exactly as written. A plain value.
template <class Traits>
class TPathImpl {
public:
    TPathImpl() noexcept = default;
    TPathImpl(const String& text) : m_text(text) {}
    TPathImpl(const char* text) : m_text(text) {}

    const String& getText() const noexcept { return m_text; }
    bool isEmpty() const noexcept { return m_text.isEmpty(); }
    bool isAbsolute() const noexcept { return Traits::isAbsolute(m_text); }

    /// This folder's entry `name`, which may itself be a relative path. An empty folder gives `name` alone.
    TPathImpl join(const TPathImpl& name) const {
        String text = m_text;
        if (!text.isEmpty() && !Traits::isSeparator(text[text.length() - 1])) {
            text += Traits::getSeparator();
        }
        return text + name.getText();
    }

    friend bool operator==(const TPathImpl&, const TPathImpl&) noexcept = default;

private:
    String m_text;
};

}  // namespace zet
