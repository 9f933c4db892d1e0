#include "apps/vexil/program/HelpText.h"

#include <algorithm>
#include <sstream>

namespace vexil::app {

namespace {

// Lines that begin further to the right are descriptions, not examples.
constexpr std::size_t minDescriptionIndent = 10;
constexpr std::size_t minSecondColumns = 10;

std::size_t getIndent(const std::string& line) {
    return std::min(line.find_first_not_of(' '), line.size());
}

bool isParagraph(std::size_t indent) {
    return indent == 0 || indent >= minDescriptionIndent;
}

/// The column where the description begins in a line such as "  NAME  MEANING"; 0 if there is only one
/// column.
std::size_t findSecondColumn(const std::string& line) {
    const std::size_t gap = line.find("  ", getIndent(line));
    const std::size_t start = gap == std::string::npos ? gap : line.find_first_not_of(' ', gap);
    return start == std::string::npos ? 0 : start;
}

std::string wrapLine(const std::string& line, std::size_t columns) {
    const std::size_t second = findSecondColumn(line);
    return line.size() <= columns || second == 0 || second + minSecondColumns > columns
               ? line + "\n"
               : line.substr(0, second) + wrapWords(line.substr(second), second, columns);
}

}  // namespace

std::string wrapWords(const std::string& text, std::size_t indent, std::size_t columns) {
    std::string lines;
    std::size_t column = indent;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const bool isFirst = column == indent;
        if (!isFirst && column + 1 + word.size() > columns) {
            lines += '\n' + std::string(indent, ' ') + word;
            column = indent + word.size();
        } else {
            lines += (isFirst ? "" : " ") + word;
            column += word.size() + (isFirst ? 0 : 1);
        }
    }
    return lines + "\n";
}

std::string wrapParagraphs(const std::string& text, std::size_t columns) {
    std::string result;
    std::string paragraph;
    std::size_t paragraphIndent = 0;
    const auto endParagraph = [&] {
        if (!paragraph.empty()) {
            result += std::string(paragraphIndent, ' ') + wrapWords(paragraph, paragraphIndent, columns);
            paragraph.clear();
        }
    };
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t indent = getIndent(line);
        if (line.empty() || indent != paragraphIndent || !isParagraph(indent)) {
            endParagraph();
        }
        if (!line.empty() && isParagraph(indent)) {
            paragraph += line + " ";
            paragraphIndent = indent;
        } else {
            result += wrapLine(line, columns);
        }
    }
    endParagraph();
    return result;
}

}  // namespace vexil::app
