#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil s3 put`: a file to an object.
std::unique_ptr<CCommand> makeS3Put();
/// `vexil s3 get`: an object to a file or to standard output.
std::unique_ptr<CCommand> makeS3Get();
/// `vexil s3 head`: the headers of an object.
std::unique_ptr<CCommand> makeS3Head();
/// `vexil s3 ls`: the objects of a bucket.
std::unique_ptr<CCommand> makeS3Ls();
/// `vexil s3 cp`: a copy of an object, on the server's side.
std::unique_ptr<CCommand> makeS3Cp();
/// `vexil s3 rm`: one object, or all below a prefix, deleted.
std::unique_ptr<CCommand> makeS3Rm();
/// `vexil s3 mb`: a new bucket.
std::unique_ptr<CCommand> makeS3Mb();
/// `vexil s3 backup`: a folder to objects.
std::unique_ptr<CCommand> makeS3Backup();
/// `vexil s3 restore`: objects to a folder.
std::unique_ptr<CCommand> makeS3Restore();

}  // namespace vexil::app
