/// \file
/// Checks of option values. Each error names the allowed values.
#pragma once

#include <CLI/CLI.hpp>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vexil::app {

/// Refuses "", which usually comes from an unset shell variable.
inline CLI::Validator notEmpty() {
    return CLI::Validator(
        [](const std::string& value) { return value.empty() ? "the value is empty" : std::string(); }, "");
}

/// Accepts one of these names and converts it to its value.
template <typename T>
CLI::Validator oneOf(std::vector<std::pair<std::string, T>> choices) {
    return CLI::Validator(
        [choices = std::move(choices)](std::string& value) {
            std::string names;
            for (const auto& [name, choice] : choices) {
                if (name == value) {
                    value = std::to_string(static_cast<int>(choice));
                    return std::string();
                }
                names += (names.empty() ? "" : ", ") + name;
            }
            return "'" + value + "' is not one of " + names;
        },
        "");
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

}  // namespace vexil::app
