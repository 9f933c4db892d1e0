#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PutOptions.h"
#include "vexil/s3/S3SigningOptions.h"

#include <filesystem>
#include <optional>

namespace zet {
class IInStream;
}

namespace vexil::app {

class CFileProgress;
class CS3Access;

/// The metadata with the time of the last change, in the form that rclone writes and reads: seconds since
/// 1970 as a decimal number.
constexpr const char* timeMetadata = "mtime";

/// Which object a file becomes, and how it is sent.
struct CPartedUpload {
    String bucket;
    String key;
    CS3PutOptions options;
    int64 partSize = 0;                  ///< 0 for the default of the library
    int jobs = 8;                        ///< parts at once
    std::optional<S3UploadCheck> check;  ///< nullopt for the default of the library
};

/// Stores a file in parts, several at once, with the tries and the logs of the session. An interrupt by the
/// user deletes the parts and ends it. The size of the parts is stored as metadata of the object.
/// \return the ETag of the object; "" if the server has sent none
/// \throws CError also if the file changes meanwhile; the object is then not replaced
String uploadInParts(CS3Access& access, const std::filesystem::path& file, const CPartedUpload& upload,
                     CFileProgress& progress);
/// The same, but the parts of an upload that fails stay, also if the process is killed. The next call for the
/// same server, object, file and options resumes it: it sends only the parts that the server does not have
/// as they are in the file. If the file has changed since, the parts are deleted.
String uploadInPartsOrResume(CS3Access& access, const std::filesystem::path& file,
                             const CPartedUpload& upload, CFileProgress& progress);
/// The same for a stream of any size that need not be able to seek. A short one is stored by one request.
void uploadStream(CS3Access& access, zet::IInStream& stream, const CPartedUpload& upload,
                  CFileProgress& progress);

}  // namespace vexil::app
