#pragma once

#include "apps/vexil/files/FileOutStream.h"
#include "apps/vexil/transfer/Download.h"
#include "apps/vexil/transfer/TransferPolicy.h"

#include <filesystem>
#include <memory>

namespace vexil::app {

/// One file as a server keeps it.
class IStoredFile {
public:
    virtual ~IStoredFile();

    /// Its name on the server, for people.
    virtual String getName() const = 0;
    /// What it is called below the folder to restore to, with "/" on every system.
    virtual String getRelativeName() const = 0;
    /// The same as a path.
    /// \throws CError when it would lead out of the folder, or cannot be a file's, or there is no file to be had
    virtual std::filesystem::path getRelativePath() const = 0;
    /// In bytes, as it was listed.
    virtual int64 getSize() const = 0;
    /// Says which content it has, for CPartFile; "" if nobody could prove that later. "" by default.
    virtual String getContent() const;
    /// \param out  empty, or with what an earlier program has left of this content. Stands at its beginning
    virtual std::unique_ptr<IDownload> makeDownload(const P<CFileOutStream>& out) const = 0;
};

/// Where a backup was kept.
class IRestoreSource {
public:
    virtual ~IRestoreSource();

    /// How transfers from it are to be treated.
    virtual ITransferPolicy& getPolicy() = 0;
    /// The next file; null behind the last one.
    virtual std::unique_ptr<IStoredFile> findNext() = 0;
    /// What one file is called there.
    virtual const char* getNoun() const = 0;
    /// What to ask a user who has found nothing.
    virtual const char* getQuestionWhereEmpty() const = 0;
};

}  // namespace vexil::app
