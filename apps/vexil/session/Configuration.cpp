#include "apps/vexil/session/Configuration.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace vexil::app {

namespace {

struct CPlace {
    const char* variable;
    const char* below;
};

constexpr CPlace places[] = {{"XDG_CONFIG_HOME", ""}, {"APPDATA", ""}, {"HOME", ".config"}};
constexpr const char* fileVariable = "VEXIL_CONFIG";
constexpr const char* spaces = " \t\r";

[[noreturn]] void refuse(const String& message) {
    throw CInvalidArgError("CConfiguration", message);
}

std::string trim(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(spaces);
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(spaces) - begin + 1);
}

}  // namespace

std::string CConfiguration::CProfile::findValue(const std::string& option) const {
    const auto place = std::find_if(settings.begin(), settings.end(),
                                    [&](const CSetting& setting) { return setting.option == option; });
    return place == settings.end() ? std::string() : place->value;
}

std::filesystem::path CConfiguration::findFile() {
    if (const auto file = getEnvironmentVariable(fileVariable); file && !file->empty()) {
        return toPath(*file);
    }
    for (const CPlace& place : places) {
        const std::filesystem::path folder = toPath(getEnvironmentVariable(place.variable).value_or(""));
        // A relative path would be another folder in each run.
        if (folder.has_root_directory()) {
            return folder / place.below / "vexil" / "config";
        }
    }
    return {};
}

CConfiguration CConfiguration::load() {
    const std::filesystem::path file = findFile();
    if (file.empty()) {
        return {};
    }
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        const int code = errno;
        if (code == ENOENT && getEnvironmentVariable(fileVariable).value_or("").empty()) {
            return {};
        }
        refuse("cannot open the configuration file '" + describe(file) + "': " + describeSystemError(code));
    }
    return read(stream, "'" + describe(file) + "'");
}

CConfiguration CConfiguration::read(std::istream& stream, const String& place) {
    CConfiguration result;
    std::string line;
    errno = 0;
    for (int number = 1; std::getline(stream, line); ++number) {
        result.readLine(trim(line), number,
                        "line " + String::fromInt(number) + " of the configuration file " + place);
    }
    if (stream.bad()) {
        refuse("cannot read the configuration file " + place + ": " + describeSystemError(errno));
    }
    return result;
}

void CConfiguration::readLine(const std::string& line, int number, const String& where) {
    if (line.empty() || line.front() == '#') {
        return;
    }
    if (line.front() == '[') {
        const std::string name = line.back() == ']' ? trim(line.substr(1, line.size() - 2)) : std::string();
        if (name.empty()) {
            refuse(where + " begins with '[' but is not '[NAME]'");
        }
        if (find(name)) {
            refuse(where + " begins the profile '" + printableBytes(name) + "' a second time");
        }
        m_profiles.push_back({name, {}});
        return;
    }
    const std::size_t equals = line.find('=');
    const std::string option = trim(line.substr(0, equals));
    if (equals == std::string::npos || option.empty()) {
        refuse(where + " is neither '[NAME]' nor 'OPTION = VALUE'");
    }
    if (m_profiles.empty()) {
        refuse(where + " stands before the first '[NAME]'");
    }
    m_profiles.back().settings.push_back({option, trim(line.substr(equals + 1)), number});
}

const CConfiguration::CProfile* CConfiguration::find(const std::string& name) const {
    const auto place = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&](const CProfile& profile) { return profile.name == name; });
    return place == m_profiles.end() ? nullptr : &*place;
}

String CConfiguration::describeUnknown(const std::string& name) {
    return "there is no profile '" + printableBytes(name) + "' in the configuration file '" +
           describe(findFile()) + "'";
}

}  // namespace vexil::app
