#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3DownloadResult.h"
#include "vexil/s3/S3GetOptions.h"
#include "vexil/s3/S3PutOptions.h"
#include "vexil/s3/S3TransferSettings.h"
#include "vexil/s3/S3UploadResult.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"

#include <filesystem>

namespace zet {
class CFileInStream;
}

namespace vexil {

class CS3Upload;
struct CS3ResumeToken;

/// Transfers objects of any size in parts, several at once, in bounded memory.
///
/// An object of at most one part is stored by one PUT. A larger one is uploaded in parts; a failed part is
/// sent again from its own beginning. At the end the ETag (the MD5 of the MD5s of the parts, if the service
/// makes it in this way) and the size of the object are checked. If the response that says that the object is
/// complete was lost, its ETag decides whether it exists.
///
/// An upload that fails, or is cancelled, leaves no parts, unless they are to be kept for resumeUpload():
/// they are deleted when all transfers have ended. A failure of the deletion is logged, and the first error
/// is thrown. A service that does not respond to the deletion delays the end by up to 30 seconds for each
/// try.
/// If the response to the very first request of an upload is lost, or the upload is cancelled before it has
/// come, an upload without parts may remain.
///
/// An object is downloaded in parts as well: a failed part is requested again from where it has ended. All
/// parts are of the same object (If-Match with its ETag). The head of the response to the first one tells the
/// ETag: the other ones begin when its first bytes come.
///
/// Thread safety: one thread at a time. Several managers may work at once. A worker thread of the manager
/// reads the streams while a member runs.
///
/// Errors: CInvalidArgError for wrong arguments and settings, before anything is sent. CS3Error, CCURLError
/// and others as for CS3Client, after the tries of the retry policy. CCURLError with code 42 after
/// cancellation and 28 after the deadline. What a stream or the observer throws passes through.
///
/// \code
/// CS3TransferManager manager(client, {.parallelParts = 4});
/// manager.uploadFile("holiday.mov", "bucket", "2026/holiday.mov",
///                    {.contentType = "video/quicktime"});
/// manager.downloadFile("bucket", "2026/holiday.mov", "copy.mov");
/// \endcode
class VEXIL_API CS3TransferManager : public virtual CBase {
public:
    /// \param client    is copied; what it learns about region and clock is kept for the next transfers. Its
    ///                  settings for retries have no effect
    /// \param settings  are checked when they are used
    explicit CS3TransferManager(const CS3Client& client, CS3TransferSettings settings = {});
    CS3TransferManager(const CS3TransferManager&) = delete;
    CS3TransferManager& operator=(const CS3TransferManager&) = delete;
    ~CS3TransferManager() override;

    // ---- uploads -----------------------------------------------------------------------------------------

    /// Stores a file as an object and replaces an existing one. Parts are read from the file when they are
    /// sent, and not kept in memory.
    /// \throws CInvalidArgError also for an option that cannot be sent
    /// \throws CError if the file changes meanwhile
    CS3UploadResult uploadFile(const std::filesystem::path& file, const String& bucket, const String& key,
                               const CS3PutOptions& options = {});
    /// Stores `size` bytes of a stream that can seek, beginning at its current position. Parts are read when
    /// they are sent, one thread at a time, and not kept in memory.
    /// \param data  not null
    /// \param size  at least 0; bytes after them are not used
    /// \throws CError if the stream ends early
    CS3UploadResult upload(zet::IInStream* data, int64 size, const String& bucket, const String& key,
                           const CS3PutOptions& options = {});
    /// Stores all bytes of a stream from its current position to its end. It need not be able to seek, and
    /// its size may be unknown. It is read on the caller's thread.
    ///
    /// The parts that are being sent are kept in memory, `parallelParts` of `partSize` bytes at most. After
    /// each 700 parts the next ones are twice as large, up to 1 GiB, so that 10,000 parts are enough for more
    /// than 5 TiB. Fewer of them are then sent at once, so that the memory stays the same as long as it has
    /// room for one part.
    /// \param data  not null
    CS3UploadResult uploadStream(zet::IInStream* data, const String& bucket, const String& key,
                                 const CS3PutOptions& options = {});

    /// Resumes the upload of a file after a failure with `keepsForResume`, or after the end of the process.
    /// Stored parts that are equal to the file are not sent again: size, and checksum if the service lists
    /// it, otherwise the MD5 as their ETag.
    ///
    /// If the service no longer knows the upload, but has an object with the ETag that the file would get,
    /// the upload was complete already, which is a success.
    /// \param resumeToken  of getResumeToken() or IS3TransferObserver::onUploadBegun()
    /// \param file         the same file, which may have moved
    /// \param options      those of the beginning; only conditions and customer key are sent again. The
    ///                     checksum is that of the token
    /// \throws CInvalidArgError if the text is not such a token
    /// \throws CError of ErrorKind::Conflict if size or time of the file are others than at the beginning of
    ///         the upload. The parts stay
    /// \throws CS3Error if the service has deleted the parts: usually with the code NoSuchUpload
    CS3UploadResult resumeUpload(const String& resumeToken, const std::filesystem::path& file,
                                 const CS3PutOptions& options = {});
    /// Deletes the parts of an upload that is not to be resumed. An upload that the service no longer knows
    /// is a success, and a complete object stays.
    /// \param resumeToken  as for resumeUpload(). No upload with it may run
    /// \throws CInvalidArgError if the text is not such a token
    void discardUpload(const String& resumeToken);
    /// The text to resume the last upload of a file with, if it has failed and its parts were kept; otherwise
    /// "". It contains no secrets.
    [[nodiscard]] String getResumeToken() const { return m_resumeToken; }

    // ---- downloads ---------------------------------------------------------------------------------------

    /// Reads an object into a file, and replaces an existing one. The file appears under its name only when
    /// it is complete: all bytes are there, were compared with a checksum or the ETag if possible (see
    /// S3ContentCheck), and are on the disk. Until then it is ".NAME.vexil-part-" and 16 hexadecimal digits
    /// in the same folder, which one process at a time can write.
    ///
    /// A download that fails, is cancelled or killed leaves this file if it has complete parts. A later call
    /// with the same object and path reads only the missing parts if the object still has the same ETag;
    /// otherwise, or if the file is damaged, it begins again. The file is deleted if the object has changed
    /// or does not exist any more, or if its content is wrong.
    /// \param path  a regular file, or none. The folder must exist
    /// \throws CError of ErrorKind::Conflict if the object is replaced meanwhile, or if another process
    ///         downloads it to this path; of ErrorKind::InvalidData if the content is not what the service
    ///         tells, or if the service sends other bytes than it was asked for; of domain "system" if the
    ///         file cannot be written
    CS3DownloadResult downloadFile(const String& bucket, const String& key, const std::filesystem::path& path,
                                   const CS3GetOptions& options = {});
    /// Reads an object into a stream, which gets the bytes in order, on the caller's thread, and need not be
    /// able to seek. At most `parallelParts` parts of `partSize` bytes are in memory. It cannot be resumed.
    ///
    /// The content is compared with a checksum or the ETag at the end: **the bytes that the stream got are
    /// right only if this function returns.** After an error it has a beginning of the object, which may be
    /// wrong.
    /// \param data  not null
    /// \throws CError as downloadFile()
    CS3DownloadResult download(const String& bucket, const String& key, zet::IOutStream* data,
                               const CS3GetOptions& options = {});

private:
    void chooseUploadCheck(const CS3PutOptions& options);
    CS3UploadResult storeResumable(CS3Upload& upload, const CS3ResumeToken& token,
                                   const std::filesystem::path& path, const zet::CFileInStream& file);

    CS3Client m_client;
    CS3TransferSettings m_settings;
    bool m_choosesUploadCheck = false;
    String m_resumeToken;
};

}  // namespace vexil
