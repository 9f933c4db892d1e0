#include "apps/vexil/program/ProfileOptions.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/program/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <set>

namespace vexil::app {

namespace {

constexpr const char* profileOption = "--profile";

CCommandLine readAll(CLI::App& program, const std::vector<std::string>& arguments) {
    CCommandLine line(program);
    for (const std::string& argument : arguments) {
        line.read(argument);
    }
    return line;
}

bool isOptionOf(const CLI::App& app, const std::string& name) {
    const std::vector<const CLI::App*> commands = app.get_subcommands([](const CLI::App*) { return true; });
    return app.get_option_no_throw(name) ||
           std::any_of(commands.begin(), commands.end(),
                       [&](const CLI::App* command) { return isOptionOf(*command, name); });
}

/// As a shell replaces it on the command line.
std::string replaceHome(const CLI::Option& option, const std::string& value) {
    const bool isInHome = value.starts_with("~/") && option.get_type_name() == "FILE";
    return isInHome ? getEnvironmentVariable("HOME").value_or("~") + value.substr(1) : value;
}

void checkSetting(const CLI::App& program, const CConfiguration::CSetting& setting) {
    const std::string name = "--" + setting.option;
    if (!isOptionOf(program, name) || name == "--help" || name == "--version") {
        throw CInvalidArgError("CConfiguration",
                               "line " + String::fromInt(setting.line) + " of the configuration file '" +
                                   describe(CConfiguration::findFile()) + "': '" +
                                   printableBytes(setting.option) + "' is not the name of an option");
    }
}

/// Whether the arguments have the option, or one that excludes it.
bool isDecided(const CCommandLine& line, const CLI::Option& option) {
    const std::set<CLI::Option*> excluded = option.get_excludes();
    return line.has(&option) || std::any_of(excluded.begin(), excluded.end(),
                                            [&](const CLI::Option* other) { return line.has(other); });
}

}  // namespace

void checkProfile(const CLI::App& program, const CConfiguration::CProfile& profile) {
    for (const CConfiguration::CSetting& setting : profile.settings) {
        checkSetting(program, setting);
    }
}

std::string findProfileName(CLI::App& program, const std::vector<std::string>& arguments) {
    CCommandLine line(program);
    const std::string before = std::string(profileOption) + "=";
    for (const std::string& argument : arguments) {
        const CLI::Option* const option = line.getOptionOfValue();
        if (option && option->check_lname("profile")) {
            return argument;
        }
        if (!option && !line.areOptionsOver() && argument.starts_with(before)) {
            return argument.substr(before.size());
        }
        line.read(argument);
    }
    return "";
}

void addProfile(CLI::App& program, const CConfiguration::CProfile& profile,
                std::vector<std::string>& arguments) {
    checkProfile(program, profile);
    const CCommandLine line = readAll(program, arguments);
    std::vector<std::string> added;
    for (const CConfiguration::CSetting& setting : profile.settings) {
        const std::string name = "--" + setting.option;
        const CLI::Option* const option = line.findOption(name);
        const bool mayBeRepeated =
            option && option->get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
        if (option && name != profileOption && (mayBeRepeated || !isDecided(line, *option))) {
            added.push_back(name + "=" + replaceHome(*option, setting.value));
        }
    }
    const auto place = arguments.begin() + static_cast<std::ptrdiff_t>(line.getCommandEnd());
    arguments.insert(place, added.begin(), added.end());
}

}  // namespace vexil::app
