#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vexil::app {

/// What a command takes from the command line, and its help. Values are written into the given variables when
/// the line is parsed; they must outlive it.
class CCommandSyntax {
public:
    /// \param group  gets the command
    explicit CCommandSyntax(CLI::App& group) : m_group(group) {}

    /// To be called first.
    CCommandSyntax& command(const char* name, const char* summary);
    /// The next argument in the line. It must be given.
    CCommandSyntax& argument(const char* name, std::string& value, const char* help);
    /// One that may be missing, which leaves the value as it is.
    CCommandSyntax& optionalArgument(const char* name, std::string& value, const char* help);
    /// So many further arguments.
    /// \param name     for error messages: one word, as CLI11 demands from version 2.4 on
    /// \param shownAs  for the help
    CCommandSyntax& arguments(const char* name, const char* shownAs, std::vector<std::string>& values,
                              int minimum, int maximum, const char* help);
    CCommandSyntax& option(const char* name, const char* valueName, std::string& value, const char* help);
    /// One whose value is a file's name, not "": as from a script in which a variable is not set.
    CCommandSyntax& fileOption(const char* name, std::string& value, const char* help);
    /// One that may be given any number of times.
    CCommandSyntax& options(const char* name, const char* valueName, std::vector<std::string>& values,
                            const char* help);
    /// A number from `minimum` to `maximum`.
    CCommandSyntax& number(const char* name, const char* valueName, int& value, int minimum, int maximum,
                           const char* help);
    CCommandSyntax& flag(const char* name, bool& value, const char* help);
    /// Text behind all other help: examples, and what else there is to know.
    CCommandSyntax& footer(const char* text);

    /// The command as it was added to the group.
    CLI::App& getApp() const noexcept { return *m_app; }

private:
    CLI::App& m_group;
    CLI::App* m_app = nullptr;
};

}  // namespace vexil::app
