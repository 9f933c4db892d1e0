#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3URL.h"

namespace vexil {

/// The query of a URL: arguments with escaped values.
class CS3Query {
public:
    /// Adds an argument without a value, such as "uploads". Version 2 signs some of them alone.
    void addName(const char* name) { m_text += (m_text.isEmpty() ? String("?") : String("&")) + name; }
    /// Adds an argument, also with an empty value.
    void add(const char* name, const String& value) {
        addName(name);
        m_text += "=" + escapeText(value, false);
    }
    /// Adds an argument unless its value is empty.
    void addUnlessEmpty(const char* name, const String& value) {
        if (!value.isEmpty()) {
            add(name, value);
        }
    }
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
