#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>
#include <string>
#include <string_view>

namespace vexil::app {

/// One line of `--json`: a JSON object (docs/json-events.md) in UTF-8. The names of its fields are ASCII.
class CEvent {
public:
    /// Of the fields. It grows when one of them changes its meaning or is removed, not when one is added.
    static constexpr int version = 1;

    /// Has the fields "event" and "time".
    explicit CEvent(std::string_view kind);

    CEvent& text(std::string_view name, const String& value);
    /// A path or another text of any bytes: a text, or, if the bytes are not UTF-8, their hexadecimal digits
    /// in a field that is called NAME_bytes.
    CEvent& bytes(std::string_view name, const std::string& value);
    CEvent& number(std::string_view name, int64 value);
    /// With three digits after the point.
    CEvent& seconds(std::string_view name, double value);
    CEvent& flag(std::string_view name, bool value);

    /// Without the line end.
    std::string toLine() const { return m_line + "}"; }

private:
    void begin(std::string_view name);
    void quote(std::string_view value);

    std::string m_line = "{";
};

/// A moment in UTC as "2026-01-31T08:30:00.123Z".
std::string formatMoment(std::chrono::system_clock::time_point moment);

}  // namespace vexil::app
