#include "apps/vexil/HelpFormatter.h"

#include <sstream>

namespace vexil::app {

namespace {

constexpr std::size_t nameColumns = 24;
constexpr std::size_t lineColumns = 80;

// A flag that switches off is named "--no-verify{false}".
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

CHelpFormatter::CHelpFormatter() {
    column_width(nameColumns);
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
               " may stand behind the command.\n";
    }
    return app->get_footer() + "\n" + hint;
}

std::string CHelpFormatter::makeEntry(const std::string& name, const std::string& description) const {
    std::string text = "  " + name;
    std::size_t column = text.size();
    const auto goToColumn = [&] {
        if (column + 1 > nameColumns) {
            text += '\n';
            column = 0;
        }
        text.append(nameColumns - column, ' ');
        column = nameColumns;
    };
    goToColumn();
    std::istringstream words(description);
    for (std::string word; words >> word;) {
        const bool isFirst = column == nameColumns;
        if (!isFirst && column + 1 + word.size() > lineColumns) {
            text += '\n' + std::string(nameColumns, ' ') + word;
            column = nameColumns + word.size();
        } else {
            text += (isFirst ? "" : " ") + word;
            column += word.size() + (isFirst ? 0 : 1);
        }
    }
    return text + "\n";
}

}  // namespace vexil::app
