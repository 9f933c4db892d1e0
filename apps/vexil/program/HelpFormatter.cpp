#include "apps/vexil/program/HelpFormatter.h"

#include "apps/vexil/program/HelpText.h"

#include <algorithm>

namespace vexil::app {

namespace {

// The column where descriptions begin. With short lines they are below the names.
constexpr std::size_t nameColumns = 24;
constexpr std::size_t narrowNameColumns = 8;
constexpr std::size_t minWideColumns = 64;

// Longer lines are hard to read; shorter ones have no room.
constexpr std::size_t maxColumns = 100;
constexpr std::size_t minColumns = 48;

// CLI11 calls a negated flag "--no-verify{false}".
std::string withoutBraces(std::string name) {
    for (std::size_t start; (start = name.find('{')) != std::string::npos;) {
        name.erase(start, name.find('}', start) - start + 1);
    }
    return name;
}

std::string withBlankBehindCommas(std::string names) {
    for (std::size_t at = 0; (at = names.find(',', at)) != std::string::npos; at += 2) {
        names.replace(at, 1, ", ");
    }
    return names;
}

}  // namespace

CHelpFormatter::CHelpFormatter(int columns)
    : m_columns(std::clamp(static_cast<std::size_t>(std::max(columns, 0)), minColumns, maxColumns)),
      m_nameColumns(m_columns < minWideColumns ? narrowNameColumns : nameColumns) {
    column_width(m_nameColumns);
}

std::string CHelpFormatter::make_description(const CLI::App* app) const {
    return wrapParagraphs(CLI::Formatter::make_description(app), m_columns);
}

std::string CHelpFormatter::make_option_name(const CLI::Option* option, bool isPositional) const {
    const std::string& shownAs = option->get_option_text();
    return isPositional && !shownAs.empty() ? shownAs
                                            : CLI::Formatter::make_option_name(option, isPositional);
}

std::string CHelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
    std::string name = withBlankBehindCommas(withoutBraces(make_option_name(option, isPositional)));
    if (!isPositional && option->get_expected_max() > 0) {
        name += " " + option->get_type_name();
    }
    return makeEntry(name, make_option_desc(option));
}

std::string CHelpFormatter::make_option_usage(const CLI::Option* option) const {
    const std::string name = make_option_name(option, true);
    return option->get_required() ? name : "[" + name + "]";
}

std::string CHelpFormatter::make_subcommand(const CLI::App* subcommand) const {
    return makeEntry(subcommand->get_name(), subcommand->get_description());
}

std::string CHelpFormatter::make_footer(const CLI::App* app) const {
    std::string hint;
    if (const CLI::App* const group = app->get_parent()) {
        const bool hasGroupOptions = group->get_parent() && group->get_options().size() > 1;
        hint = "\nThe options of 'vexil --help'" +
               (hasGroupOptions ? " and 'vexil " + group->get_name() + " --help'" : std::string()) +
               " are also allowed after the command.\n";
    }
    // CLI11 before version 2.4 writes the empty line itself.
    constexpr bool isEmptyLineMissing = CLI11_VERSION_MAJOR * 1000 + CLI11_VERSION_MINOR >= 2004;
    return (isEmptyLineMissing ? "\n" : "") + wrapParagraphs(app->get_footer() + "\n" + hint, m_columns);
}

std::string CHelpFormatter::makeEntry(const std::string& name, const std::string& description) const {
    std::string text = "  " + name;
    // Two spaces, because the maker of the manual page expects them between name and description.
    if (text.size() + 2 > m_nameColumns) {
        text += '\n';
        text.append(m_nameColumns, ' ');
    } else {
        text.resize(m_nameColumns, ' ');
    }
    return text + wrapWords(description, m_nameColumns, m_columns);
}

}  // namespace vexil::app
