#include "apps/vexil/program/ConfigCommand.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/program/ProfileOptions.h"
#include "apps/vexil/session/Configuration.h"
#include "apps/vexil/session/Session.h"

#include <filesystem>
#include <string>

namespace vexil::app {

namespace {

class CConfigCommand : public CCommand {
public:
    explicit CConfigCommand(const CLI::App& program) : m_program(program) {}
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    static void printFile(CConsole& console, const CConfiguration& configuration);
    void printProfile(CConsole& console, const CConfiguration& configuration) const;

    const CLI::App& m_program;
    std::string m_profile;
};

void CConfigCommand::define(CCommandSyntax& syntax) {
    syntax.command("config", "Check the configuration file, and show its profiles")
        .optionalArgument("PROFILE", m_profile, "Show the settings of this profile")
        .footer(
            R"(The configuration file has profiles. Their settings are options of the command line without the dashes:

  # ~/.config/vexil/config
  [photos]
  endpoint = https://s3.example.com
  region = eu-central-1
  credentials = ~/.config/vexil/photos.credentials
  exclude = *.tmp
  exclude = /Downloads/
  [nas]
  credentials-command = pass show nas
  bwlimit = 4M

'--profile photos' then stands for all of them that the command has. An option on the command line counts
instead of that of the profile; --exclude and others that may be repeated count in addition, after those of
the profile. An option without a value, such as verify-etag, is set by 'true' or 'false'. A setting 'profile'
names the profile in the credentials file of Amazon's tools. The file has no keys and no passwords:
'credentials' names a file with them, 'credentials-command' a command that prints them.

Examples:
  vexil config
  vexil config photos
  vexil backup ~/photos s3://my-bucket/photos --profile photos)");
}

void CConfigCommand::printFile(CConsole& console, const CConfiguration& configuration) {
    const std::filesystem::path file = CConfiguration::findFile();
    std::error_code failure;
    const bool exists = std::filesystem::exists(file, failure);
    console.print("Configuration file: " + (file.empty() ? String("none: HOME is not set") : describe(file)) +
                  (exists || file.empty() ? "" : " (does not exist)"));
    for (const CConfiguration::CProfile& profile : configuration.getProfiles()) {
        console.print("Profile: " + printableBytes(profile.name));
    }
}

void CConfigCommand::printProfile(CConsole& console, const CConfiguration& configuration) const {
    const CConfiguration::CProfile* const profile = configuration.find(m_profile);
    if (!profile) {
        throw CInvalidArgError("CConfigCommand", CConfiguration::describeUnknown(m_profile));
    }
    for (const CConfiguration::CSetting& setting : profile->settings) {
        console.print(printableBytes(setting.option + " = " + setting.value));
    }
}

ExitCode CConfigCommand::run(CSession& session) {
    const CConfiguration configuration = CConfiguration::load();
    for (const CConfiguration::CProfile& profile : configuration.getProfiles()) {
        checkProfile(m_program, profile);
    }
    if (m_profile.empty()) {
        printFile(session.getConsole(), configuration);
    } else {
        printProfile(session.getConsole(), configuration);
    }
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeConfig(const CLI::App& program) {
    return std::make_unique<CConfigCommand>(program);
}

}  // namespace vexil::app
