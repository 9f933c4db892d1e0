/// \file
/// Checks of the values of options. Each error says what may be given.
#pragma once

#include <CLI/CLI.hpp>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vexil::app {

/// Refuses "", as from a script in which a variable is not set.
inline CLI::Validator notEmpty() {
    return CLI::Validator(
        [](const std::string& value) { return value.empty() ? "the value is empty" : std::string(); }, "");
}

/// One of these names, which becomes its value.
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

/// A number in a range; T is the type that it is parsed as.
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
