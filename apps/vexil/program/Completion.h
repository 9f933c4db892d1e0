#pragma once

#include "apps/vexil/program/CommandLine.h"

#include <string>
#include <vector>

namespace vexil::app {

/// What a shell offers for the word of a command line that is being typed. It follows from the syntax.
class CCompletion {
public:
    /// \param program  with its commands; must outlive this object
    explicit CCompletion(CLI::App& program) : m_line(program) {}

    /// The text for the scripts of the shells. Its first line says what they do with the word:
    /// - "words": one of the following lines stands for the word;
    /// - "beginnings": so it is, but the word goes on;
    /// - "files", "folders": a path of this computer.
    /// Each further line is a word, for options and commands with a tab and its description.
    /// \param words  of the command line without the name of the program; the last one is being typed, and
    ///               may be ""
    std::string complete(const std::vector<std::string>& words);

private:
    std::string completeOptions(const std::string& word) const;
    std::string completeArgument(const std::string& word) const;
    std::string completeCommands(const std::string& word) const;

    CCommandLine m_line;
};

}  // namespace vexil::app
