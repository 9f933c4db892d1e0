/// \file
/// Help texts in lines of limited length.
#pragma once

#include <cstddef>
#include <string>

namespace vexil::app {

/// The words of a text in lines.
/// \param indent   columns in front of each line
/// \param columns  how many columns a line has at most, the indent included; a longer word has a line of its own
/// \return the lines, each with its line end; the first one without its indent
std::string wrapWords(const std::string& text, std::size_t indent, std::size_t columns);

/// A text whose lines are laid out already, fitted to another width: paragraphs are wrapped again. Examples, which are
/// indented by a few columns, keep their lines.
/// \return the lines, each with its line end
std::string wrapParagraphs(const std::string& text, std::size_t columns);

}  // namespace vexil::app
