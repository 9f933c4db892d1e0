#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil ftp ls`: lists a directory.
std::unique_ptr<CCommand> makeFTPLs();
/// `vexil ftp stat`: shows the facts of one entry.
std::unique_ptr<CCommand> makeFTPStat();
/// `vexil ftp get`: downloads a file to a file or to standard output.
std::unique_ptr<CCommand> makeFTPGet();
/// `vexil ftp put`: stores a file on the server.
std::unique_ptr<CCommand> makeFTPPut();
/// `vexil ftp mkdir`: makes a directory.
std::unique_ptr<CCommand> makeFTPMkdir();
/// `vexil ftp rm`: deletes one file.
std::unique_ptr<CCommand> makeFTPRm();
/// `vexil ftp rmdir`: deletes one empty directory.
std::unique_ptr<CCommand> makeFTPRmdir();
/// `vexil ftp rmtree`: deletes a directory with everything below it.
std::unique_ptr<CCommand> makeFTPRmtree();
/// `vexil ftp mv`: renames an entry.
std::unique_ptr<CCommand> makeFTPMv();
/// `vexil ftp backup`: stores a folder below a directory.
std::unique_ptr<CCommand> makeFTPBackup();
/// `vexil ftp restore`: downloads the files below a directory into a folder.
std::unique_ptr<CCommand> makeFTPRestore();

}  // namespace vexil::app
