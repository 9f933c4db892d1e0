#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3URL.h"

#include <string>
#include <string_view>

namespace vexil {

/// The query of a URL: arguments with escaped values.
class CS3Query {
public:
    /// Adds an argument without a value, such as "uploads".
    void addName(const char* name) { m_text += (m_text.isEmpty() ? String("?") : String("&")) + name; }
    /// @{

    /// Adds an argument, also with an empty value.
    void addBytes(const char* name, std::string_view bytes) {
        addName(name);
        m_text += "=" + String::fromLatin1(encodePercent(bytes, false));
    }
    void add(const char* name, const String& value) { addBytes(name, value.toUTF8()); }
    /// @}

    /// @{

    /// Adds an argument unless its value is empty.
    void addUnlessEmpty(const char* name, const String& value) {
        if (!value.isEmpty()) {
            add(name, value);
        }
    }
    void addUnlessEmpty(const char* name, const std::string& bytes) {
        if (!bytes.empty()) {
            addBytes(name, bytes);
        }
    }
    /// @}

    /// Adds a number unless it is the default.
    void addUnless(int defaultValue, const char* name, int value) {
        if (value != defaultValue) {
            add(name, String::fromInt(value));
        }
    }

    /// "" or beginning with "?".
    const String& toText() const noexcept { return m_text; }

private:
    String m_text;
};

}  // namespace vexil
