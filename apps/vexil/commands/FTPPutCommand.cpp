#include "apps/vexil/commands/FTPPutCommand.h"

#include "apps/vexil/CommandSyntax.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/FTPPath.h"
#include "apps/vexil/FTPUpload.h"
#include "apps/vexil/FileInStream.h"
#include "apps/vexil/PartFile.h"
#include "apps/vexil/SingleTransfer.h"
#include "apps/vexil/Text.h"

namespace vexil::app {

void CFTPPutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Store a file")
        .argument("FILE", m_file, "What to store")
        .argument("PATH", m_path, "Its place on the server; a file of this name is replaced")
        .flag("-p,--parents", m_makesParents, "Make the directories that are missing")
        .footer(R"(Example:
  vexil ftp put holiday.jpg /photos/2024/holiday.jpg --parents

The file is stored as .NAME.vexil-part first, and gets its name, in place of one that has it, when the server
tells the right size.)");
}

ExitCode CFTPPutCommand::run(CContext& context) {
    const P<CFileInStream> file = new CFileInStream(toPath(m_file));
    const String path = makeServerPath(m_path);
    const String name = makeServerName(toPath(getServerName(path)));
    if (name.isEmpty()) {
        throw CInvalidArgError("vexil ftp put", "PATH must end with the name of the file");
    }
    const String part = makeServerName(CPartFile::makeName(toPath(name)));
    CRemoteParts parts(context);
    CFTPUpload upload(context, parts, file, path, joinServerPath(getServerDirectory(path), part),
                      m_makesParents);
    runSingleTransfer(context, context.getFTP().getPolicy(), upload);
    return ExitCode::Done;
}

}  // namespace vexil::app
