#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/StandardStreams.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDownload.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <string>

namespace vexil::app {

namespace {

class CFTPGetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    static void download(CFTPAccess& access, const String& path, const P<zet::IOutStream>& out);

    std::string m_path;
    std::string m_file;
};

void CFTPGetCommand::define(CCommandSyntax& syntax) {
    syntax.command("get", "Download a file")
        .argument("PATH", m_path, "File on the server")
        .optionalArgument("FILE", m_file,
                          "The file to write; an existing file is replaced (default: standard output)")
        .footer(R"(Examples:
  vexil ftp get /photos/holiday.jpg holiday.jpg
  vexil ftp get /backups/list.txt | less

An interrupted download continues where it stopped, as long as the server reports the same file. The file gets
its name when it is complete. A failed download leaves no file.)");
}

ExitCode CFTPGetCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    if (m_path.ends_with('/')) {
        throw CInvalidArgError("CFTPGetCommand",
                               "the path '" + printable(String::fromUTF8(m_path)) +
                                   "' means a directory. Use 'vexil ftp restore' for all its files");
    }
    // Check the login first, so that a missing login does not destroy an existing file.
    CFTPAccess access(session);
    if (m_file.empty() || m_file == "-") {
        download(access, path, new CStandardOutStream(session.getConsole()));
    } else {
        CLeftParts::clearOf(session.getConsole(), toPath(m_file));
        CPartFile file(toPath(m_file));
        download(access, path, file.getStream());
        file.commit();
    }
    return ExitCode::Done;
}

void CFTPGetCommand::download(CFTPAccess& access, const String& path, const P<zet::IOutStream>& out) {
    CFTPDownload transfer(access, path, out);
    runSingleTransfer(access.getSession(), access.getFTP().getPolicy(), transfer);
}

}  // namespace

std::unique_ptr<CCommand> makeFTPGet() {
    return std::make_unique<CFTPGetCommand>();
}

}  // namespace vexil::app
