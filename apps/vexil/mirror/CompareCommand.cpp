#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/mirror/Commands.h"
#include "apps/vexil/mirror/FolderComparison.h"
#include "apps/vexil/session/Session.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

class CCompareCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_first;
    std::string m_second;
    std::vector<std::string> m_excluded;
};

void CCompareCommand::define(CCommandSyntax& syntax) {
    syntax.command("compare", "Compare the files of two folders, byte for byte")
        .argument("FOLDER", m_first, "One folder")
        .argument("OTHER", m_second, "The other folder")
        .options("--exclude", "PATH", m_excluded, "A file or folder to ignore in both; may be repeated")
        .footer(R"(Example:
  vexil compare ~/Documents restored

Each difference is printed. Links, special files and empty folders are ignored. The exit code is 0 if all
regular files are equal and 1 otherwise.)");
}

ExitCode CCompareCommand::run(CSession& session) {
    const CFolderWalker first(toPath(m_first), m_excluded);
    const CFolderWalker second(toPath(m_second), m_excluded);
    CProgress progress(session.getConsole());
    CFolderComparison comparison(session.getConsole(), progress, first, second);
    comparison.run();
    const int64 differences = comparison.getDifferenceCount();
    session.getConsole().print("compared: " + formatNumberOf(progress.getFileCount(), "file") + ", " +
                               formatBytes(progress.getByteCount()) + ", " +
                               formatNumberOf(differences, "difference"));
    return differences == 0 ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

std::unique_ptr<CCommand> makeCompare() {
    return std::make_unique<CCompareCommand>();
}

}  // namespace vexil::app
