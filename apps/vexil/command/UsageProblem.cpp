#include "apps/vexil/command/UsageProblem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>

namespace vexil::app {

namespace {

std::string inQuotes(const std::string& text) {
    return "'" + text + "'";
}

std::string join(const std::vector<std::string>& words, const char* last) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : i + 1 == words.size() ? last : ", ";
        text += words[i];
    }
    return text;
}

/// The command as it is typed: "vexil s3 ls".
std::string getFullName(const CLI::App& app) {
    const CLI::App* const parent = app.get_parent();
    return (parent ? getFullName(*parent) + " " : std::string()) + app.get_name();
}

std::vector<const CLI::App*> getCommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

std::string makeQuestion(std::vector<std::string> names) {
    for (std::string& name : names) {
        name = inQuotes(name);
    }
    return names.empty() ? std::string() : ". Did you mean " + join(names, " or ") + "?";
}

// Longer words are not compared, because the time grows with the square of the length.
constexpr std::size_t maxLength = 40;
constexpr std::size_t minPrefixLength = 2;
constexpr std::size_t lettersPerMistake = 3;

/// The number of letters to change, add, leave out or swap with a neighbour to make one word from the other.
std::size_t getDistance(const std::string& first, const std::string& second) {
    std::vector<std::vector<std::size_t>> rows(first.size() + 1, std::vector<std::size_t>(second.size() + 1));
    for (std::size_t i = 0; i <= first.size(); ++i) {
        for (std::size_t k = 0; k <= second.size(); ++k) {
            if (i == 0 || k == 0) {
                rows[i][k] = i + k;
                continue;
            }
            const bool isSame = first[i - 1] == second[k - 1];
            rows[i][k] =
                std::min({rows[i - 1][k] + 1, rows[i][k - 1] + 1, rows[i - 1][k - 1] + (isSame ? 0 : 1)});
            if (i > 1 && k > 1 && first[i - 1] == second[k - 2] && first[i - 2] == second[k - 1]) {
                rows[i][k] = std::min(rows[i][k], rows[i - 2][k - 2] + 1);
            }
        }
    }
    return rows[first.size()][second.size()];
}

std::string withoutDashes(const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('-'), name.size()));
}

}  // namespace

CUsageProblem::CUsageProblem(const CLI::App& program, const CLI::ParseError& error,
                             const std::vector<std::string>& arguments)
    : m_program(program), m_error(error), m_command(&program) {
    const std::vector<std::string> words = program.remaining(true);
    m_unknown = words.empty() ? std::string() : words.front();
    m_parent = findParent(arguments);
    while (!m_command->get_subcommands().empty()) {
        m_command = m_command->get_subcommands().back();
    }
}

/// The last existing command before the unknown word.
const CLI::App* CUsageProblem::findParent(const std::vector<std::string>& arguments) const {
    const CLI::App* parent = &m_program;
    for (const std::string& argument : arguments) {
        const std::vector<CLI::App*> chosen = parent->get_subcommands();
        if (argument == m_unknown || chosen.empty()) {
            break;
        }
        parent = argument == chosen.back()->get_name() ? chosen.back() : parent;
    }
    return parent;
}

bool CUsageProblem::isUnknownCommand() const {
    return !m_unknown.empty() && !isOption(m_unknown) && !getCommandsOf(*m_parent).empty();
}

std::string CUsageProblem::getText() const {
    return "vexil: error: " + getSentence() + "\nRun " +
           inQuotes(getFullName(isUnknownCommand() ? *m_parent : *m_command) + " --help") +
           " for more information.";
}

std::string CUsageProblem::getSentence() const {
    if (isUnknownCommand()) {
        return describeUnknownCommand();
    }
    if (isOption(m_unknown)) {
        return describeUnknownOption();
    }
    if (!m_unknown.empty()) {
        return inQuotes(getFullName(*m_command)) + " accepts no further argument: " + inQuotes(m_unknown);
    }
    std::vector<std::string> names;
    for (const CLI::App* command : getCommandsOf(*m_command)) {
        names.push_back(command->get_name());
    }
    return names.empty() || dynamic_cast<const CLI::RequiredError*>(&m_error) == nullptr
               ? m_error.what()
               : "a command is missing after " + inQuotes(getFullName(*m_command)) + ": " +
                     join(names, " or ");
}

std::string CUsageProblem::describeUnknownCommand() const {
    return "there is no command " + inQuotes(getFullName(*m_parent) + " " + m_unknown) +
           makeQuestion(findCommands());
}

std::string CUsageProblem::describeUnknownOption() const {
    const std::string name = m_unknown.substr(0, m_unknown.find('='));
    return inQuotes(getFullName(*m_command)) + " has no option " + inQuotes(name) +
           makeQuestion(findSimilarNames(name, findOptions()));
}

/// Suggestions: commands of the same group, or a command of this name in another group.
std::vector<std::string> CUsageProblem::findCommands() const {
    std::vector<std::string> names = {"help"};
    std::vector<std::string> elsewhere;
    for (const CLI::App* command : getCommandsOf(*m_parent)) {
        names.push_back(command->get_name());
    }
    for (const CLI::App* group : getCommandsOf(m_program)) {
        for (const CLI::App* command : getCommandsOf(*group)) {
            if (command->get_name() == m_unknown) {
                elsewhere.push_back(getFullName(*command));
            }
        }
    }
    std::vector<std::string> similar = elsewhere.empty() ? findSimilarNames(m_unknown, names) : elsewhere;
    if (elsewhere.empty()) {
        for (std::string& name : similar) {
            name = getFullName(name == "help" ? m_program : *m_parent) + " " + name;
        }
    }
    return similar;
}

/// The names of all options of the command, also those of its groups.
std::vector<std::string> CUsageProblem::findOptions() const {
    std::vector<std::string> names;
    for (const CLI::App* app = m_command; app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::vector<std::string> findSimilarNames(const std::string& word, const std::vector<std::string>& names) {
    const std::string letters = withoutDashes(word);
    std::vector<std::string> similar;
    if (letters.size() > maxLength) {
        return similar;
    }
    std::size_t best = std::max<std::size_t>(1, letters.size() / lettersPerMistake);
    for (const std::string& name : names) {
        const std::string known = withoutDashes(name);
        const bool isBeginning = letters.size() >= minPrefixLength && known.starts_with(letters);
        const std::size_t distance =
            isBeginning ? std::min<std::size_t>(1, getDistance(letters, known)) : getDistance(letters, known);
        // A name is not similar if every letter differs.
        if (distance > best || distance >= std::max(letters.size(), known.size())) {
            continue;
        }
        if (distance < best) {
            best = distance;
            similar.clear();
        }
        similar.push_back(name);
    }
    return similar;
}

}  // namespace vexil::app
