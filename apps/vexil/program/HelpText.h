/// \file
/// Help texts in lines of limited length.
#pragma once

#include <cstddef>
#include <string>

namespace vexil::app {

/// Puts the words of a text into lines.
/// \param indent   columns before each line
/// \param columns  the maximum of columns of a line, with its indent; a longer word is on its own line
/// \return the lines, each with its line end; the first one without its indent
std::string wrapWords(const std::string& text, std::size_t indent, std::size_t columns);

/// Fits a text that already has lines to another width: paragraphs are wrapped again. Examples, which are
/// indented by a few columns, keep their lines.
/// \return the lines, each with its line end
std::string wrapParagraphs(const std::string& text, std::size_t columns);

}  // namespace vexil::app
