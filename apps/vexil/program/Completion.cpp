#include "apps/vexil/program/Completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace vexil::app {

namespace {

constexpr const char* words = "words\n";

/// With the first statement of the description.
std::string describeWord(const std::string& word, const std::string& description) {
    const std::size_t end = std::min({description.size(), description.find(". "), description.find("; ")});
    return word + "\t" + description.substr(0, end) + "\n";
}

/// The texts that an option takes, separated by ", "; "" if it takes others, too.
std::string findChoices(CLI::Option& option) {
    try {
        return option.get_validator(0)->get_name();
    } catch (const CLI::OptionNotFound&) {
        return "";
    }
}

/// \param before  stands before each word, for example "--tls="
std::string completeValue(CLI::Option& option, const std::string& before, const std::string& word) {
    const std::string& type = option.get_type_name();
    if (type == "FILE" || type == "FOLDER") {
        return type == "FILE" ? "files\n" : "folders\n";
    }
    std::string result = words;
    std::istringstream choices(findChoices(option));
    for (std::string choice; choices >> choice;) {
        if (choice.back() == ',') {
            choice.pop_back();
        }
        if (choice.starts_with(word)) {
            result += before + choice + "\n";
        }
    }
    return result;
}

}  // namespace

std::string CCompletion::complete(const std::vector<std::string>& line) {
    // "help s3" is completed like "s3".
    const bool isHelp = line.size() > 1 && line.front() == "help";
    const std::string word = line.empty() ? std::string() : line.back();
    for (std::size_t i = isHelp ? 1 : 0; i + 1 < line.size(); ++i) {
        m_line.read(line[i]);
    }
    if (CLI::Option* const option = m_line.getOptionOfValue()) {
        return completeValue(*option, "", word);
    }
    if (!m_line.areOptionsOver() && word.starts_with("-") && !isHelp) {
        return completeOptions(word);
    }
    return m_line.getCommand().get_subcommands({}).empty() ? completeArgument(word) : completeCommands(word);
}

std::string CCompletion::completeOptions(const std::string& word) const {
    if (const std::size_t equals = word.find('='); equals != std::string::npos) {
        CLI::Option* const option = m_line.findOption(word.substr(0, equals));
        return option ? completeValue(*option, word.substr(0, equals + 1), word.substr(equals + 1)) : words;
    }
    std::string result = words;
    for (const CLI::App* app = &m_line.getCommand(); app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options({})) {
            for (const std::string& name : option->get_lnames()) {
                if (("--" + name).starts_with(word)) {
                    result += describeWord("--" + name, option->get_description());
                }
            }
        }
    }
    return result;
}

std::string CCompletion::completeArgument(const std::string& word) const {
    const std::vector<CLI::Option*> arguments =
        m_line.getCommand().get_options([](CLI::Option* option) { return option->get_positional(); });
    if (m_line.getArgumentCount() >= arguments.size()) {
        return words;
    }
    const std::string name = arguments[m_line.getArgumentCount()]->get_name(true);
    if (name == "FILE" || name == "FOLDER" || name == "OTHER") {
        return name == "FILE" ? "files\n" : "folders\n";
    }
    std::string result = "beginnings\n";
    for (const std::string scheme : {"file:///", "ftp://", "ftps://", "s3://"}) {
        if (name == "DESTINATION" && scheme.starts_with(word)) {
            result += scheme + "\n";
        }
    }
    return result;
}

std::string CCompletion::completeCommands(const std::string& word) const {
    std::string result = words;
    for (const CLI::App* command : m_line.getCommand().get_subcommands({})) {
        if (command->get_name().starts_with(word)) {
            result += describeWord(command->get_name(), command->get_description());
        }
    }
    return result;
}

}  // namespace vexil::app
