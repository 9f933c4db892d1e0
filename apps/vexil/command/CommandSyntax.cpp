#include "apps/vexil/command/CommandSyntax.h"

#include "apps/vexil/command/OptionChecks.h"

#include <CLI/CLI.hpp>

namespace vexil::app {

CCommandSyntax& CCommandSyntax::command(const char* name, const char* summary) {
    m_app = m_group.add_subcommand(name, summary);
    return *this;
}

CCommandSyntax& CCommandSyntax::argument(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help)->required();
    return *this;
}

CCommandSyntax& CCommandSyntax::optionalArgument(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help);
    return *this;
}

CCommandSyntax& CCommandSyntax::arguments(const char* name, const char* shownAs,
                                          std::vector<std::string>& values, int minimum, int maximum,
                                          const char* help) {
    m_app->add_option(name, values, help)->required()->expected(minimum, maximum)->option_text(shownAs);
    return *this;
}

CCommandSyntax& CCommandSyntax::option(const char* name, const char* valueName, std::string& value,
                                       const char* help) {
    m_app->add_option(name, value, help)->type_name(valueName);
    return *this;
}

CCommandSyntax& CCommandSyntax::fileOption(const char* name, std::string& value, const char* help) {
    m_app->add_option(name, value, help)->type_name("FILE")->check(notEmpty());
    return *this;
}

CCommandSyntax& CCommandSyntax::options(const char* name, const char* valueName,
                                        std::vector<std::string>& values, const char* help) {
    m_app->add_option(name, values, help)->type_name(valueName)->expected(1)->take_all();
    return *this;
}

CCommandSyntax& CCommandSyntax::number(const char* name, const char* valueName, int& value, int minimum,
                                       int maximum, const char* help) {
    m_app->add_option(name, value, help)
        ->type_name(valueName)
        ->check(numberFrom(minimum, maximum, "a whole number"));
    return *this;
}

CCommandSyntax& CCommandSyntax::flag(const char* name, bool& value, const char* help) {
    m_app->add_flag(name, value, help);
    return *this;
}

CCommandSyntax& CCommandSyntax::footer(const char* text) {
    m_app->footer(text);
    return *this;
}

}  // namespace vexil::app
