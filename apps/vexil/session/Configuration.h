#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <istream>
#include <string>
#include <vector>

namespace vexil::app {

/// The profiles of the user's configuration file. Each is a section "[NAME]" with lines "OPTION = VALUE". An
/// option has its name on the command line, without the dashes. Empty lines and lines that begin with "#" are
/// ignored.
class CConfiguration {
public:
    struct CSetting {
        std::string option;
        std::string value;
        int line;  ///< from 1
    };
    struct CProfile {
        std::string name;
        std::vector<CSetting> settings;  ///< in the order of the file; one option may have several

        /// The value of the first setting of this option; "" if it has none.
        std::string findValue(const std::string& option) const;
    };

    /// The file that VEXIL_CONFIG names. Otherwise "vexil/config" in XDG_CONFIG_HOME, in APPDATA (Windows)
    /// or in ".config" of the home folder.
    /// \return empty if there is no such folder
    static std::filesystem::path findFile();
    /// A missing file has no profiles, unless VEXIL_CONFIG names it.
    /// \throws CInvalidArgError that names the file and the line
    static CConfiguration load();
    /// \param place  of the stream, for the errors
    /// \throws CInvalidArgError as load()
    static CConfiguration read(std::istream& stream, const String& place);

    const std::vector<CProfile>& getProfiles() const noexcept { return m_profiles; }
    /// \return null if it has no such profile
    const CProfile* find(const std::string& name) const;
    /// The sentence of the error for a profile that the file does not have.
    static String describeUnknown(const std::string& name);

private:
    void readLine(const std::string& line, int number, const String& where);

    std::vector<CProfile> m_profiles;
};

}  // namespace vexil::app
