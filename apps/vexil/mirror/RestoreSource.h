#pragma once

#include "apps/vexil/files/FileOutStream.h"
#include "apps/vexil/transfer/Download.h"
#include "apps/vexil/transfer/TransferPolicy.h"

#include <filesystem>
#include <memory>

namespace vexil::app {

/// One stored file on a server.
class IStoredFile {
public:
    virtual ~IStoredFile();

    /// Its name on the server, for display.
    virtual String getName() const = 0;
    /// Its path below the folder of the restore, with "/" on every system.
    virtual String getRelativeName() const = 0;
    /// The same as a path.
    /// \throws CError if it would lead out of the folder, or cannot be the path of a file, or the file cannot
    ///         be fetched
    virtual std::filesystem::path getRelativePath() const = 0;
    /// In bytes, from the listing.
    virtual int64 getSize() const = 0;
    /// Identifies the content, for CPartFile; "", the default, if the content could not be verified later.
    virtual String getContent() const;
    /// \param out  empty, or with bytes of this content that an earlier program has left. At its beginning
    virtual std::unique_ptr<IDownload> makeDownload(const P<CFileOutStream>& out) const = 0;
};

/// The place where a backup is stored.
class IRestoreSource {
public:
    virtual ~IRestoreSource();

    /// The policy for transfers from it.
    virtual ITransferPolicy& getPolicy() = 0;
    /// The next file; null after the last one.
    virtual std::unique_ptr<IStoredFile> findNext() = 0;
    /// The word for one stored file.
    virtual const char* getNoun() const = 0;
    /// A question for a user whose restore finds nothing.
    virtual const char* getQuestionWhereEmpty() const = 0;
};

}  // namespace vexil::app
