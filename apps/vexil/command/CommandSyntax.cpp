#include "apps/vexil/command/CommandSyntax.h"

#include "apps/vexil/base/Duration.h"
#include "apps/vexil/command/OptionChecks.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace vexil::app {

CCommandSyntax& CCommandSyntax::command(const char* name, const char* summary) {
    m_app = m_group.add_subcommand(name, summary);
    return *this;
}

CCommandSyntax& CCommandSyntax::argument(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help)->required();
    return *this;
}

CCommandSyntax& CCommandSyntax::optionalArgument(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help);
    return *this;
}

CCommandSyntax& CCommandSyntax::arguments(const char* name, const char* shownAs,
                                          std::vector<std::string>& values, int minimum, int maximum,
                                          const char* help) {
    m_app->add_option(name, values, help)
        ->required(minimum > 0)
        ->expected(minimum, maximum)
        ->option_text(shownAs);
    return *this;
}

CCommandSyntax& CCommandSyntax::option(const char* name, const char* valueName, std::string& value,
                                       const char* help) {
    m_app->add_option(name, value, help)->type_name(valueName);
    return *this;
}

CCommandSyntax& CCommandSyntax::fileOption(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help)->type_name("FILE")->check(notEmpty());
    return *this;
}

CCommandSyntax& CCommandSyntax::options(const char* name, const char* valueName,
                                        std::vector<std::string>& values, const char* help) {
    m_app->add_option(name, values, help)->type_name(valueName)->expected(1)->take_all();
    return *this;
}

CCommandSyntax& CCommandSyntax::ordered(const char* name, const char* valueName, OrderedValues& values,
                                        const char* help) {
    // CLI11 calls this for one option after the other.
    const auto collect = [app = m_app, name, &values](const CLI::results_t&) {
        const auto isOfValues = [&](const CLI::Option* option) {
            const auto isName = [&](const auto& value) {
                return value.first == "--" + option->get_lnames().front();
            };
            return option == app->get_option(name) || std::any_of(values.begin(), values.end(), isName);
        };
        OrderedValues all;
        std::map<const CLI::Option*, std::size_t> counts;
        for (const CLI::Option* option : app->parse_order()) {
            if (!option->get_lnames().empty() && isOfValues(option)) {
                all.emplace_back("--" + option->get_lnames().front(), option->results().at(counts[option]++));
            }
        }
        values = std::move(all);
        return true;
    };
    m_app->add_option(name, collect, help)->type_name(valueName)->expected(1)->take_all()->check(notEmpty());
    return *this;
}

CCommandSyntax& CCommandSyntax::number(const char* name, const char* valueName, int& value, int minimum,
                                       int maximum, const char* help) {
    m_app->add_option(name, value, help)
        ->type_name(valueName)
        ->check(numberFrom(minimum, maximum, "a whole number"));
    return *this;
}

CCommandSyntax& CCommandSyntax::duration(const char* name, int64& seconds, const char* help) {
    const auto convert = [](std::string& value) {
        const std::optional<int64> parsed = parseDuration(value);
        if (!parsed) {
            return "'" + value + "' is not a duration such as 90s, 30m, 12h or 7d";
        }
        value = std::to_string(*parsed);
        return std::string();
    };
    m_app->add_option(name, seconds, help)->type_name("DURATION")->transform(CLI::Validator(convert, ""));
    return *this;
}

CCommandSyntax& CCommandSyntax::choice(const char* name, const char* valueName, std::string& value,
                                       const std::vector<std::string>& choices, const char* help) {
    m_app->add_option(name, value, help)->type_name(valueName)->check(oneOfNames(choices));
    return *this;
}

CCommandSyntax& CCommandSyntax::flag(const char* name, bool& value, const char* help) {
    m_app->add_flag(name, value, help);
    return *this;
}

CCommandSyntax& CCommandSyntax::footer(const char* text) {
    m_app->footer(text);
    return *this;
}

}  // namespace vexil::app
