/// \file
/// Checks of option values. Each error names the allowed values.
#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexil::app {

/// Refuses "", which usually comes from an unset shell variable.
inline CLI::Validator notEmpty() {
    return CLI::Validator(
        [](const std::string& value) { return value.empty() ? "the value is empty" : std::string(); }, "");
}

/// Accepts one of these names and converts it to its value. The name of the validator lists them.
template <typename T>
CLI::Validator oneOf(std::vector<std::pair<std::string, T>> choices) {
    std::string names;
    for (const auto& choice : choices) {
        names += (names.empty() ? "" : ", ") + choice.first;
    }
    return CLI::Validator(
        [choices = std::move(choices), names](std::string& value) {
            for (const auto& [name, choice] : choices) {
                if (name == value) {
                    value = std::to_string(static_cast<int>(choice));
                    return std::string();
                }
            }
            return "'" + value + "' is not one of " + names;
        },
        "", names);
}

/// Accepts one of these names. The name of the validator lists them.
inline CLI::Validator oneOfNames(const std::vector<std::string>& choices) {
    std::string names;
    for (const std::string& choice : choices) {
        names += (names.empty() ? "" : ", ") + choice;
    }
    return CLI::Validator(
        [choices, names](const std::string& value) {
            return std::find(choices.begin(), choices.end(), value) != choices.end()
                       ? std::string()
                       : "'" + value + "' is not one of " + names;
        },
        "", names);
}

/// Accepts a number in a range, parsed as T.
template <typename T>
CLI::Validator numberFrom(T minimum, T maximum, const char* noun) {
    return CLI::Validator(
        [=](const std::string& value) {
            T number{};
            if (CLI::detail::lexical_cast(value, number) && number >= minimum && number <= maximum) {
                return std::string();
            }
            std::ostringstream problem;
            // Not "1e+06".
            problem.precision(12);
            problem << "'" << value << "' is not " << noun << " from " << minimum << " to " << maximum;
            return problem.str();
        },
        "");
}

/// Accepts a number of bytes, at least 1, with the suffix K, M or G for 1024, 1024^2 and 1024^3 of them, and
/// converts it to a plain number.
inline CLI::Validator byteCount() {
    return CLI::Validator(
        [](std::string& value) {
            static constexpr std::string_view suffixes = "KMG";
            const std::size_t suffix = value.empty() ? suffixes.npos : suffixes.find(value.back());
            const bool hasSuffix = suffix != suffixes.npos;
            const std::string digits = value.substr(0, value.size() - (hasSuffix ? 1 : 0));
            const long long unit = hasSuffix ? 1LL << (10 * (suffix + 1)) : 1;
            long long number = 0;
            const bool isNumber = digits.find_first_not_of("0123456789") == digits.npos &&
                                  CLI::detail::lexical_cast(digits, number);
            if (!isNumber || number < 1 || number > (1LL << 40) / unit) {
                return "'" + value + "' is not a number of bytes from 1 to 1024G, such as 500K or 4M";
            }
            value = std::to_string(number * unit);
            return std::string();
        },
        "");
}

}  // namespace vexil::app
