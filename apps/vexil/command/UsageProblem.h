#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace vexil::app {

/// What is wrong with a command line that could not be parsed, for people: a word that is not known is named, with the
/// known one that it resembles.
class CUsageProblem {
public:
    /// Program and error must outlive it.
    CUsageProblem(const CLI::App& program, const CLI::ParseError& error,
                  const std::vector<std::string>& arguments);

    /// Whether a command is named that does not exist.
    bool isUnknownCommand() const;
    /// Lines, without a line end at the end of the last one.
    std::string getText() const;

private:
    const CLI::App* findParent(const std::vector<std::string>& arguments) const;
    std::string getSentence() const;
    std::string describeUnknownCommand() const;
    std::string describeUnknownOption() const;
    std::vector<std::string> findCommands() const;
    std::vector<std::string> findOptions() const;

    const CLI::App& m_program;
    const CLI::ParseError& m_error;
    const CLI::App* m_command;           // the last one in the line that exists, or the program
    const CLI::App* m_parent = nullptr;  // the same, of those before the unknown word
    std::string m_unknown;               // the first word that has no meaning; "" if each has one
};

}  // namespace vexil::app
