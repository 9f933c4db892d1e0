#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace vexil::app {

/// Explains a command line that could not be parsed. Names an unknown word and the known words that resemble
/// it.
class CUsageProblem {
public:
    /// Program and error must outlive it.
    CUsageProblem(const CLI::App& program, const CLI::ParseError& error,
                  const std::vector<std::string>& arguments);

    /// Whether the command line names a command that does not exist.
    bool isUnknownCommand() const;
    /// Several lines, without a line end after the last one.
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
    const CLI::App* m_command;           // the last existing command in the line, or the program
    const CLI::App* m_parent = nullptr;  // the same, among those before the unknown word
    std::string m_unknown;               // the first unknown word; "" if all are known
};

/// Suggestions for a mistyped name: the most similar known names, in their order. Empty if none is similar. A
/// name that begins with the whole word counts as similar.
std::vector<std::string> findSimilarNames(const std::string& word, const std::vector<std::string>& names);

}  // namespace vexil::app
