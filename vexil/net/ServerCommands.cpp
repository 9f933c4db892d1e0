#include "vexil/net/ServerCommands.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vexil {

namespace {

char toUpper(char character) noexcept {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

/// RNFR is here because RNTO follows it, or the transfer fails and its connection ends.
constexpr std::string_view passingVerbs[] = {
    "DELE", "EXPN", "FEAT", "HELP", "LIST", "MDTM", "MFMT", "MKD",  "MLSD", "MLST", "NLST",
    "NOOP", "PWD",  "RMD",  "RNFR", "RNTO", "SIZE", "STAT", "SYST", "VRFY", "XMKD", "XRMD",
};

}  // namespace

bool isLastingCommand(const char* command) noexcept {
    const std::string_view text(command);
    const std::string_view verb = text.substr(0, text.find(' '));
    return std::none_of(std::begin(passingVerbs), std::end(passingVerbs), [verb](std::string_view passing) {
        return std::equal(verb.begin(), verb.end(), passing.begin(), passing.end(),
                          [](char left, char right) { return toUpper(left) == right; });
    });
}

bool hasLastingCommand(const curl_slist* commands) noexcept {
    for (; commands; commands = commands->next) {
        const char* const text = commands->data;
        if (isLastingCommand(*text == '*' ? text + 1 : text)) {
            return true;
        }
    }
    return false;
}

}  // namespace vexil
