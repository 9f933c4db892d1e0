#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"

#include <string>

namespace vexil::app {

namespace {

// ---- mkdir ------------------------------------------------------------------------------------------------

class CFTPMkdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
    bool m_makesParents = false;
};

void CFTPMkdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("mkdir", "Make a directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .flag("-p,--parents", m_makesParents,
              "Also make missing directories above it; an existing directory is not an error")
        .footer(R"(Example:
  vexil ftp mkdir --parents /backups/documents)");
}

ExitCode CFTPMkdirCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess access(session);
    if (m_makesParents) {
        access.getFTP().makeDirs(path);
    } else {
        access.getFTP().makeDir(path);
    }
    return ExitCode::Done;
}

// ---- mv ---------------------------------------------------------------------------------------------------

class CFTPMvCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_from;
    std::string m_to;
};

void CFTPMvCommand::define(CCommandSyntax& syntax) {
    syntax.command("mv", "Move or rename a file or directory, on the server")
        .argument("FROM", m_from, "The file or directory to move")
        .argument("TO", m_to, "Its new path; the server decides whether an existing file is replaced")
        .footer(R"(Example:
  vexil ftp mv /photos/holiday.jpg /photos/2024/holiday.jpg)");
}

ExitCode CFTPMvCommand::run(CSession& session) {
    const String from = makeServerPath(m_from);
    const String to = makeServerPath(m_to);
    try {
        CFTPAccess(session).getFTP().perform(from, [&from, &to](CFTPClient& client, CNetRequest& request) {
            client.prepareMoveFileRequest(request, from, to, false);
        });
    } catch (const CCURLError& error) {
        if (isUnknownCommand(error)) {
            throwRefusal("The server cannot rename files", error);
        }
        throw;
    }
    return ExitCode::Done;
}

// ---- rm ---------------------------------------------------------------------------------------------------

class CFTPRmCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmCommand::define(CCommandSyntax& syntax) {
    syntax.command("rm", "Delete a file").argument("PATH", m_path, "File on the server").footer(R"(Example:
  vexil ftp rm /photos/holiday.jpg)");
}

ExitCode CFTPRmCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess(session).getFTP().removeFile(path);
    return ExitCode::Done;
}

// ---- rmdir ------------------------------------------------------------------------------------------------

class CFTPRmdirCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmdirCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmdir", "Delete an empty directory")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmdir /photos/2024)");
}

ExitCode CFTPRmdirCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess(session).getFTP().removeDir(path);
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeFTPMkdir() {
    return std::make_unique<CFTPMkdirCommand>();
}

std::unique_ptr<CCommand> makeFTPMv() {
    return std::make_unique<CFTPMvCommand>();
}

std::unique_ptr<CCommand> makeFTPRm() {
    return std::make_unique<CFTPRmCommand>();
}

std::unique_ptr<CCommand> makeFTPRmdir() {
    return std::make_unique<CFTPRmdirCommand>();
}

}  // namespace vexil::app
