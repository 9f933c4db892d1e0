#pragma once

#include "apps/vexil/command/Command.h"

#include <memory>

namespace vexil::app {

/// `vexil s3 put`: stores a file as an object.
std::unique_ptr<CCommand> makeS3Put();
/// `vexil s3 get`: downloads an object to a file or to standard output.
std::unique_ptr<CCommand> makeS3Get();
/// `vexil s3 head`: shows the headers of an object.
std::unique_ptr<CCommand> makeS3Head();
/// `vexil s3 ls`: lists the objects of a bucket.
std::unique_ptr<CCommand> makeS3Ls();
/// `vexil s3 cp`: copies an object on the server.
std::unique_ptr<CCommand> makeS3Cp();
/// `vexil s3 rm`: deletes one object, or all below a prefix.
std::unique_ptr<CCommand> makeS3Rm();
/// `vexil s3 mb`: makes a bucket.
std::unique_ptr<CCommand> makeS3Mb();
/// `vexil s3 rb`: removes an empty bucket.
std::unique_ptr<CCommand> makeS3Rb();
/// `vexil s3 buckets`: lists the buckets of the account.
std::unique_ptr<CCommand> makeS3Buckets();
/// `vexil s3 presign`: prints a URL with a signature.
std::unique_ptr<CCommand> makeS3Presign();
/// `vexil s3 uploads ls`: lists the uploads in progress.
std::unique_ptr<CCommand> makeS3UploadsLs();
/// `vexil s3 uploads abort`: aborts uploads in progress.
std::unique_ptr<CCommand> makeS3UploadsAbort();
/// `vexil s3 backup`: stores a folder as objects.
std::unique_ptr<CCommand> makeS3Backup();
/// `vexil s3 restore`: downloads objects into a folder.
std::unique_ptr<CCommand> makeS3Restore();

}  // namespace vexil::app
