#pragma once

#include "apps/vexil/s3/DownloadOptions.h"
#include "vexil/BaseTypes.h"

#include <filesystem>

namespace zet {
class IOutStream;
}

namespace vexil::app {

class CFileProgress;
class CS3Access;

/// Which object is read.
struct CPartedDownload {
    String bucket;
    String key;
    CDownloadOptions options;

    /// Identifies the object for CLeftParts: a part of it stays, and the next download continues it.
    String getContent() const { return bucket + "\n" + key + "\n"; }
};

/// Whether an object is read in parts: it is above the limit, or it was uploaded in parts, and only its parts
/// can be compared with its ETag. Without a strong ETag nothing says that the parts belong together.
bool isReadInParts(const CDownloadOptions& options, int64 size, const String& eTag);

/// Reads an object into a file in parts, several at once, with the tries and the logs of the session. The
/// file gets its name when it is complete and compared with the ETag. After an interrupt, or the end of the
/// process, the next call continues.
/// \throws CError also if the object is replaced meanwhile, or its content is wrong
void downloadInParts(CS3Access& access, const CPartedDownload& download, const std::filesystem::path& file,
                     CFileProgress& progress);
/// The same into a stream, in order. It cannot be continued later, and the stream may have bytes of an object
/// that fails.
void downloadInParts(CS3Access& access, const CPartedDownload& download, zet::IOutStream& stream,
                     CFileProgress& progress);

}  // namespace vexil::app
