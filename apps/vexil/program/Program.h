#pragma once

#include "apps/vexil/base/Options.h"
#include "apps/vexil/session/Configuration.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vexil {
class CNetRequest;
}

namespace vexil::app {

class CCommand;
class CConsole;
class CVerboseLogFile;

/// The program: its command line, and a message and an exit code for every failure.
class CProgram {
public:
    CProgram();
    ~CProgram();
    CProgram(const CProgram&) = delete;
    CProgram& operator=(const CProgram&) = delete;

    /// \return the exit code
    int run(int argc, char** argv);

private:
    static int printText(CConsole& console, const std::string& text);
    void applyProfile(CLI::App& app, std::vector<std::string>& arguments);
    std::string describeProfile() const;
    void configure(CConsole& console) const;
    int runWithLogFile(CConsole& console);
    int runCommand(CConsole& console);
    int runCommand(CConsole& console, CVerboseLogFile* verboseLog);
    static int reportFailure(CConsole& console, const CNetRequest* request, const std::exception& error);
    void addOptions(CLI::App& app);
    void addConnectionOptions(CLI::App& app);
    void addTransferOptions(CLI::App& app);
    void addFileOptions(CLI::App& app);
    void addCommands(CLI::App& app);
    void addS3Commands(CLI::App& app);
    void addFTPCommands(CLI::App& app);
    void addBackupCommands(CLI::App& app);
    void addReportOptions(CLI::App& app);
    void addS3Options(CLI::App& app);
    void addFTPOptions(CLI::App& app);
    CLI::App* addCommand(CLI::App& group, std::unique_ptr<CCommand> command);

    COptions m_options;
    std::vector<std::unique_ptr<CCommand>> m_commands;
    CCommand* m_chosen = nullptr;
    std::optional<CConfiguration::CProfile> m_profile;
};

}  // namespace vexil::app
