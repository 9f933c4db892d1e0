#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vexil::app {

/// Lays help texts out for people: no types, no ranges, lines that fit a terminal of 80 columns.
class CHelpFormatter : public CLI::Formatter {
public:
    CHelpFormatter();

    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_usage(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* subcommand) const override;
    std::string make_footer(const CLI::App* app) const override;

private:
    std::string makeEntry(const std::string& name, const std::string& description) const;
};

}  // namespace vexil::app
