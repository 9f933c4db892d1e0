#include "apps/vexil/console/Event.h"

#include "sigil/Hex.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace vexil::app {

namespace {

std::optional<String> readUTF8(const std::string& bytes) {
    try {
        return String::fromUTF8(bytes);
    } catch (const CError&) {
        return std::nullopt;
    }
}

template <class... Values>
std::string format(const char* form, Values... values) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), form, values...);
    return text.data();
}

}  // namespace

CEvent::CEvent(std::string_view kind) {
    text("event", String(std::string(kind)));
    text("time", String(formatMoment(std::chrono::system_clock::now())));
}

CEvent& CEvent::text(std::string_view name, const String& value) {
    begin(name);
    quote(value.toUTF8());
    return *this;
}

CEvent& CEvent::bytes(std::string_view name, const std::string& value) {
    if (const std::optional<String> decoded = readUTF8(value)) {
        return text(name, *decoded);
    }
    return text(std::string(name) + "_bytes", sigil::hexEncode(value.data(), static_cast<int>(value.size())));
}

CEvent& CEvent::number(std::string_view name, int64 value) {
    begin(name);
    m_line += std::to_string(value);
    return *this;
}

CEvent& CEvent::seconds(std::string_view name, double value) {
    begin(name);
    // Not by the language of the system, which may have a comma instead of the point.
    const auto thousandths = static_cast<long long>(value * 1000);
    m_line += format("%lld.%03lld", thousandths / 1000, thousandths % 1000);
    return *this;
}

CEvent& CEvent::flag(std::string_view name, bool value) {
    begin(name);
    m_line += value ? "true" : "false";
    return *this;
}

void CEvent::begin(std::string_view name) {
    if (m_line.size() > 1) {
        m_line += ',';
    }
    quote(name);
    m_line += ':';
}

void CEvent::quote(std::string_view value) {
    using Json = nlohmann::json;
    m_line += Json(value).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string formatMoment(std::chrono::system_clock::time_point moment) {
    using namespace std::chrono;
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss<milliseconds> time(floor<milliseconds>(moment - day));
    return format("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
}

}  // namespace vexil::app
