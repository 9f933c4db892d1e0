#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vexil::app {

/// Lays out help texts: no types, no ranges, and lines that fit the terminal. Only examples keep their lines.
class CHelpFormatter : public CLI::Formatter {
public:
    /// \param columns  the columns of a line; limited to 48 to 100
    explicit CHelpFormatter(int columns);

    std::string make_description(const CLI::App* app) const override;
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_usage(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* subcommand) const override;
    std::string make_footer(const CLI::App* app) const override;

private:
    std::string makeEntry(const std::string& name, const std::string& description) const;

    const std::size_t m_columns;
    const std::size_t m_nameColumns;
};

}  // namespace vexil::app
