#include "apps/vexil/program/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace vexil::app {

namespace {

CLI::App* findCommand(CLI::App& group, const std::string& name) {
    const std::vector<CLI::App*> found =
        group.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

}  // namespace

void CCommandLine::read(const std::string& word) {
    ++m_words;
    if (m_optionOfValue) {
        m_optionOfValue = nullptr;
    } else if (word == "--") {
        m_areOptionsOver = true;
    } else if (!m_areOptionsOver && word.size() > 1 && word.front() == '-') {
        readOption(word);
    } else if (CLI::App* const command = findCommand(*m_command, word)) {
        m_command = command;
        m_commandEnd = m_words;
    } else {
        ++m_arguments;
    }
}

void CCommandLine::readOption(const std::string& word) {
    const std::size_t equals = word.find('=');
    CLI::Option* const option = findOption(word.substr(0, equals));
    if (!option) {
        return;
    }
    m_options.push_back(option);
    if (equals == std::string::npos && option->get_expected_max() > 0) {
        m_optionOfValue = option;
    }
}

bool CCommandLine::has(const CLI::Option* option) const {
    return std::find(m_options.begin(), m_options.end(), option) != m_options.end();
}

CLI::Option* CCommandLine::findOption(const std::string& name) const {
    for (CLI::App* app = m_command; app; app = app->get_parent()) {
        if (CLI::Option* const option = app->get_option_no_throw(name)) {
            return option;
        }
    }
    return nullptr;
}

}  // namespace vexil::app
