#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vexil::app {

/// Follows the words of a command line through the syntax of the program, and checks nothing.
class CCommandLine {
public:
    /// \param program  with its commands; must outlive this object
    explicit CCommandLine(CLI::App& program) : m_command(&program) {}

    /// Goes on to the next word.
    void read(const std::string& word);

    /// The innermost command so far.
    CLI::App& getCommand() const noexcept { return *m_command; }
    /// The number of words up to its name.
    std::size_t getCommandEnd() const noexcept { return m_commandEnd; }
    /// The option whose value the next word is; null if it is something else.
    CLI::Option* getOptionOfValue() const noexcept { return m_optionOfValue; }
    /// The number of arguments of the command.
    std::size_t getArgumentCount() const noexcept { return m_arguments; }
    /// Whether "--" was read.
    bool areOptionsOver() const noexcept { return m_areOptionsOver; }
    /// Whether the option was read.
    bool has(const CLI::Option* option) const;

    /// An option of the command or of those above it.
    /// \param name  with its dashes
    /// \return null if they have no such option
    CLI::Option* findOption(const std::string& name) const;

private:
    void readOption(const std::string& word);

    CLI::App* m_command;
    CLI::Option* m_optionOfValue = nullptr;
    std::vector<const CLI::Option*> m_options;
    std::size_t m_words = 0;
    std::size_t m_commandEnd = 0;
    std::size_t m_arguments = 0;
    bool m_areOptionsOver = false;
};

}  // namespace vexil::app
