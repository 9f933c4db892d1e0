#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil ftp ls`: the entries of a directory.
std::unique_ptr<CCommand> makeFTPLs();
/// `vexil ftp stat`: what the server tells of one entry.
std::unique_ptr<CCommand> makeFTPStat();
/// `vexil ftp get`: a file of the server to a file or to standard output.
std::unique_ptr<CCommand> makeFTPGet();
/// `vexil ftp put`: a file to the server.
std::unique_ptr<CCommand> makeFTPPut();
/// `vexil ftp mkdir`: a new directory.
std::unique_ptr<CCommand> makeFTPMkdir();
/// `vexil ftp rm`: one file, deleted.
std::unique_ptr<CCommand> makeFTPRm();
/// `vexil ftp rmdir`: one empty directory, deleted.
std::unique_ptr<CCommand> makeFTPRmdir();
/// `vexil ftp rmtree`: a directory with all below it, deleted.
std::unique_ptr<CCommand> makeFTPRmtree();
/// `vexil ftp mv`: an entry under another name.
std::unique_ptr<CCommand> makeFTPMv();
/// `vexil ftp backup`: a folder to the files below a directory.
std::unique_ptr<CCommand> makeFTPBackup();
/// `vexil ftp restore`: files below a directory to a folder.
std::unique_ptr<CCommand> makeFTPRestore();

}  // namespace vexil::app
