#pragma once

#include "apps/vexil/base/FileTime.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/platform/FileFacts.h"
#include "apps/vexil/transfer/Download.h"
#include "apps/vexil/transfer/ServerPolicy.h"
#include "apps/vexil/transfer/Upload.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace vexil::app {

class CFileProgress;
class CFolderWalker;
class CSession;

/// One file of a store, with the facts that the listing has about it. The store must outlive it.
class IStoredFile {
public:
    virtual ~IStoredFile() = default;

    /// Its name on the server, for display.
    virtual String getName() const = 0;
    /// Its path within the store, with "/" on every system.
    virtual String getRelativeName() const = 0;
    /// The same as a path.
    /// \throws CError if it would lead out of a folder, or cannot be the path of a file, or the file cannot
    ///         be fetched
    virtual std::filesystem::path getRelativePath() const = 0;
    /// In bytes.
    virtual int64 getSize() const = 0;
    /// What the server says of the content beside its size: the ETag of an object, otherwise the time of the
    /// last change. A file with another mark was stored again. "", the default, if the server says nothing.
    virtual String getMark() const { return String(); }
    /// Identifies the content, for CPartFile: a download can continue after bytes of the same content. "",
    /// the default, if the server has no checksum that could confirm it.
    virtual String getContent() const { return String(); }
    /// For a file that is not fetched alone.
    /// \param out  at its beginning; empty, or with bytes of this content that an earlier download has left
    virtual std::unique_ptr<IDownload> makeDownload(const P<CPartStream>& /*out*/) const {
        throw CError("This file is fetched alone.");
    }
    /// Whether it is fetched by fetchAlone(), instead of makeDownload(). False by default.
    virtual bool isFetchedAlone() const { return false; }
    /// Fetches the file while no other transfer runs: for a large file in parts, several at once. It gets its
    /// name when it is complete. After a failure the next call may continue.
    /// \param file      its path on this computer
    /// \param progress  gets the bytes, and is complete at the end
    virtual void fetchAlone(const std::filesystem::path& /*file*/, CFileProgress& /*progress*/) const {
        throw CError("This file is fetched by a transfer.");
    }
};

/// The files of a store, one after another. The store must outlive it.
class IStoreListing {
public:
    virtual ~IStoreListing() = default;

    /// The next file; null after the last one. Each file comes once, in the order of the server. Files that
    /// cannot be fetched come, too: their getRelativePath() throws the reason.
    /// A part of the listing that cannot be read is such a file, or an error.
    /// \throws errors of the server, after all files that were listed before them. If the folder of the store
    ///         does not exist: nothing, or an error that the policy diagnoses as missing
    virtual std::unique_ptr<IStoredFile> findNext() = 0;
};

/// A folder, usually on a server, that keeps files under their relative paths: a backup is stored there, and
/// restored from there. tests/apps/StoreContractTest.cpp checks these rules for each store.
///
/// One thread. It can be used again after any of its functions, or a transfer, has failed.
class IStore {
public:
    using Report = std::function<void(const String& name, const String& reason)>;

    virtual ~IStore() = default;

    /// The policy for transfers to it and from it.
    virtual IServerPolicy& getPolicy() = 0;

    /// Lists all files, also those in folders below. Sends nothing yet, and keeps only a part of the listing
    /// in memory.
    virtual std::unique_ptr<IStoreListing> list() = 0;

    /// Must be called before the first upload.
    /// \throws errors that make the store unusable
    virtual void beginUploads() = 0;
    /// Makes the upload of a file that is not stored alone. It replaces a file of that path when it is
    /// complete. A failed upload leaves no part of the file under that path. What it leaves under another
    /// name cannot be fetched, and the destructor of the store removes it if the server allows it.
    /// \param time  of the last change of the file, for a server that can keep it; nullopt for none
    /// \throws CError if the file cannot be stored under its path
    virtual std::unique_ptr<IUpload> makeUpload(const P<CFileInStream>& /*file*/,
                                                const std::filesystem::path& /*relativePath*/,
                                                const std::optional<CFileTime>& /*time*/) {
        throw CError("This file is stored alone.");
    }
    /// Whether a file of this size is stored by storeAlone(), instead of makeUpload(). False by default.
    virtual bool isStoredAlone(int64 /*size*/) const { return false; }
    /// Stores a file while no other upload runs: a large file in parts, several at once. It replaces a file
    /// of that path when it is complete. A failure does not.
    /// \param file      its path on this computer
    /// \param time      as for makeUpload()
    /// \param progress  gets the bytes, and is complete at the end
    /// \return what IUpload::getMark() returns
    /// \throws the errors of the server; CError if the file cannot be read, or changes meanwhile
    virtual String storeAlone(const std::filesystem::path& /*file*/,
                              const std::filesystem::path& /*relativePath*/,
                              const std::optional<CFileTime>& /*time*/, CFileProgress& /*progress*/) {
        throw CError("This file is stored by a transfer.");
    }
    /// Stores a file in place of one that was listed, unless somebody else has replaced that one meanwhile. A
    /// server that cannot decide this itself is asked just before the upload.
    /// \param file  its path on this computer
    /// \param mark  of the listed file; nullopt if there was none
    /// \return false if the store has another file under that path by now, which stays
    virtual bool replace(CSession& session, const std::filesystem::path& file,
                         const std::filesystem::path& relativePath, const std::optional<String>& mark) = 0;
    /// Whether a mark is a checksum, so that hasContent() compares contents. False by default.
    virtual bool isChecksum(const String& /*mark*/) const { return false; }
    /// Whether a stored file of the same size has the content of a local file. Downloads nothing. False, the
    /// default, if the server does not tell.
    /// \param mark   of the stored file
    /// \param facts  of the local file; nullopt if its time proves nothing
    virtual bool hasContent(const String& /*mark*/, const std::filesystem::path& /*relativePath*/,
                            const std::filesystem::path& /*file*/,
                            const std::optional<CFileFacts>& /*facts*/) {
        return false;
    }
    /// Called after the last upload, when no transfer runs. Corrects entries that earlier backups have stored
    /// under names that now have another type, and reports entries that it cannot correct. Does nothing by
    /// default.
    /// \param walker      knows the files of the backup
    /// \param isComplete  whether all files were stored
    /// \param report      receives the name of an entry, and the problem that it causes in a restore
    virtual void finishUploads(const CFolderWalker& /*walker*/, bool /*isComplete*/,
                               const Report& /*report*/) {}

    /// Removes one file. Does nothing if it does not exist. Folders stay, also empty ones.
    /// \param relativeName  as IStoredFile::getRelativeName() returns it
    /// \throws CInvalidArgError if the name is not one within the store, CError if the server refuses it
    virtual void remove(const String& relativeName) = 0;
    /// Removes a folder that is empty now. Does nothing if it is not, or if the store has no folders of its
    /// own, which is the default.
    /// \param relativePath  within the store
    virtual void removeEmptyFolder(const std::filesystem::path& /*relativePath*/) {}
    /// Whether a file cannot be stored under the name of a folder that has files. True by default.
    virtual bool hasFolders() const { return true; }

    /// The word for one stored file.
    virtual const char* getNoun() const = 0;
    /// A question for a user whose restore finds nothing.
    virtual const char* getQuestionWhereEmpty() const = 0;
};

}  // namespace vexil::app
