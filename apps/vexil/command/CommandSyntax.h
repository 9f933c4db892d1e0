#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace vexil::app {

/// The arguments and options of a command, and its help. Values are written into the given variables when the
/// command line is parsed; the variables must outlive it.
class CCommandSyntax {
public:
    /// The values of options whose common order matters, each with the name of its option.
    using OrderedValues = std::vector<std::pair<std::string, std::string>>;

    /// \param group  the group to which the command is added
    explicit CCommandSyntax(CLI::App& group) : m_group(group) {}

    /// Must be called first.
    CCommandSyntax& command(const char* name, const char* summary);
    /// The next argument of the command line. It is required.
    CCommandSyntax& argument(const char* name, std::string& value, const char* help);
    /// An optional argument; if it is missing, the value does not change.
    CCommandSyntax& optionalArgument(const char* name, std::string& value, const char* help);
    /// This many further arguments.
    /// \param name     for error messages: one word, because CLI11 2.4 and newer demand it
    /// \param shownAs  for the help
    CCommandSyntax& arguments(const char* name, const char* shownAs, std::vector<std::string>& values,
                              int minimum, int maximum, const char* help);
    CCommandSyntax& option(const char* name, const char* valueName, std::string& value, const char* help);
    /// An option that takes a file name. "" is refused, because it usually comes from an unset shell
    /// variable.
    CCommandSyntax& fileOption(const char* name, std::string& value, const char* help);
    /// An option that may be repeated.
    CCommandSyntax& options(const char* name, const char* valueName, std::vector<std::string>& values,
                            const char* help);
    /// An option that may be repeated, and whose values stand among those of other options in the order of
    /// the command line. "" is refused.
    /// \param values  all such options have the same one
    CCommandSyntax& ordered(const char* name, const char* valueName, OrderedValues& values, const char* help);
    /// A number from `minimum` to `maximum`.
    CCommandSyntax& number(const char* name, const char* valueName, int& value, int minimum, int maximum,
                           const char* help);
    /// An option that takes a duration such as "12h" (parseDuration).
    /// \param seconds  the default, and the value
    CCommandSyntax& duration(const char* name, int64& seconds, const char* help);
    /// An option that takes one of some texts.
    CCommandSyntax& choice(const char* name, const char* valueName, std::string& value,
                           const std::vector<std::string>& choices, const char* help);
    CCommandSyntax& flag(const char* name, bool& value, const char* help);
    /// Text after all other help: examples and notes.
    CCommandSyntax& footer(const char* text);

    /// The command that was added to the group.
    CLI::App& getApp() const noexcept { return *m_app; }

private:
    CLI::App& m_group;
    CLI::App* m_app = nullptr;
};

}  // namespace vexil::app
