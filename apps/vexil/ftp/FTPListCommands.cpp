#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPEntryText.h"
#include "apps/vexil/ftp/FTPPath.h"

#include <string>

namespace vexil::app {

namespace {

// ---- ls ---------------------------------------------------------------------------------------------------

class CFTPLsCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path = "/";
};

void CFTPLsCommand::define(CCommandSyntax& syntax) {
    syntax.command("ls", "List a directory: type, size, time of change (UTC), name")
        .optionalArgument("DIRECTORY", m_path, "Directory on the server (default: /)")
        .footer(R"(Examples:
  vexil ftp ls
  vexil ftp ls /backups/documents

An entry whose name cannot be read, because it is not UTF-8 or contains a line end, is listed on standard
error, and the exit code is 1.)");
}

ExitCode CFTPLsCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    const P<CFTPListDirResult> listing = CFTPAccess(session).getFTP().listDir(path);
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        // Entries for the directory itself and for its parent.
        if (!(entry->getName() == ".") && !(entry->getName() == "..")) {
            session.getConsole().print(makeEntryLine(*entry));
        }
    }
    for (const std::string& line : listing->getUnreadableLines()) {
        const FTPUnreadableEntry entry(line);
        session.getConsole().message(Verbosity::Error, "NOT listed: " + joinServerPath(path, entry.name) +
                                                           ": " + entry.problem);
    }
    return listing->getUnreadableLines().empty() ? ExitCode::Done : ExitCode::Failed;
}

// ---- stat -------------------------------------------------------------------------------------------------

class CFTPStatCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPStatCommand::define(CCommandSyntax& syntax) {
    syntax.command("stat", "Show one file or directory: type, size, time of change (UTC), name")
        .argument("PATH", m_path, "The file or directory on the server")
        .footer(R"(Example:
  vexil ftp stat /backups/list.txt)");
}

ExitCode CFTPStatCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    session.getConsole().print(makeEntryLine(CFTPAccess(session).getFTP().getInfo(path)));
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPLs() {
    return std::make_unique<CFTPLsCommand>();
}

std::unique_ptr<CCommand> makeFTPStat() {
    return std::make_unique<CFTPStatCommand>();
}

}  // namespace vexil::app
