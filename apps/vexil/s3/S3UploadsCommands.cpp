#include "apps/vexil/base/Duration.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3UploadEnum.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

constexpr int64 microsecondsPerSecond = 1'000'000;

void printUpload(CConsole& console, const char* begin, const CS3PendingUpload& upload) {
    console.print(String(begin) + printable(upload.initiated) + "  " + printable(upload.uploadId) + "  " +
                  printable(upload.key));
}

/// An upload in UTF-8, because there may be very many.
struct CKeptUpload {
    explicit CKeptUpload(const CS3PendingUpload& upload)
        : key(upload.key.toUTF8()), uploadId(upload.uploadId.toUTF8()), initiated(upload.initiated.toUTF8()) {
    }

    CS3PendingUpload get() const {
        return {.key = String::fromUTF8(key),
                .uploadId = String::fromUTF8(uploadId),
                .initiated = String::fromUTF8(initiated),
                .storageClass = String()};
    }

    std::string key;
    std::string uploadId;
    std::string initiated;
};

/// Bucket, prefix and age, as both commands take them.
class CUploadSelection {
public:
    void define(CCommandSyntax& syntax) {
        syntax.argument("BUCKET", m_bucket, "Bucket of the uploads")
            .optionalArgument("PREFIX", m_prefix, "Only names that begin with this text (default: all)")
            .duration("--older-than", m_age, "Only uploads that began at least so long ago");
    }

    /// Calls a function with each selected upload. Uploads of unknown age, and those whose keys cannot be
    /// read, are reported.
    /// \param what  the action that is not done, for example "NOT aborted"
    void find(CS3Access& access, const char* what,
              const std::function<void(const CS3PendingUpload&)>& onFound) {
        const int64 now = zet::CTime::now().getMicroseconds();
        CS3UploadEnum uploads(&access.getClient(), &access.getRequest(), getBucket(),
                              {.prefix = String::fromUTF8(m_prefix)});
        while (uploads.next()) {
            CInterrupt::throwIfRequested();
            reportUnreadable(access, what, uploads);
            const CS3PendingUpload& upload = *uploads.getCurrent();
            const std::optional<zet::CTime> begin = parseISOTime(upload.initiated);
            if (m_age > 0 && !begin) {
                report(access, what, upload.key, "the server does not tell when it began");
            } else if (m_age == 0 || now - begin->getMicroseconds() >= m_age * microsecondsPerSecond) {
                onFound(upload);
            }
        }
        reportUnreadable(access, what, uploads);
    }

    String getBucket() const { return String::fromUTF8(m_bucket); }
    /// Done unless an upload was reported.
    ExitCode getExitCode() const noexcept { return m_isComplete ? ExitCode::Done : ExitCode::Failed; }

private:
    void reportUnreadable(CS3Access& access, const char* what, CS3UploadEnum& uploads) {
        for (const String& key : uploads.takeUnreadableKeys()) {
            report(access, what, key, "its key cannot be read from the list");
        }
    }
    void report(CS3Access& access, const char* what, const String& key, const char* reason) {
        m_isComplete = false;
        access.getConsole().message(Verbosity::Error, String(what) + ": " + printable(key) + ": " + reason);
    }

    std::string m_bucket;
    std::string m_prefix;
    int64 m_age = 0;
    bool m_isComplete = true;
};

// ---- ls ---------------------------------------------------------------------------------------------------

class CS3UploadsLsCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CUploadSelection m_selection;
};

void CS3UploadsLsCommand::define(CCommandSyntax& syntax) {
    syntax.command("ls", "List the uploads in progress: time of the begin, ID, name");
    m_selection.define(syntax);
    syntax.footer(R"(Examples:
  vexil s3 uploads ls photos
  vexil s3 uploads ls photos 2024/ --older-than 7d)");
}

ExitCode CS3UploadsLsCommand::run(CSession& session) {
    CS3Access access(session);
    m_selection.find(access, "NOT listed", [&session](const CS3PendingUpload& upload) {
        printUpload(session.getConsole(), "", upload);
    });
    return m_selection.getExitCode();
}

// ---- abort ------------------------------------------------------------------------------------------------

/// \return false if the upload has ended in between
bool abortUpload(CS3Access& access, const String& bucket, const CS3PendingUpload& upload) {
    try {
        access.getClient().abortMultipartUpload(access.getRequest(), bucket, upload.key, upload.uploadId);
        return true;
    } catch (const CS3Error& error) {
        if (error.getS3Code() == "NoSuchUpload") {
            return false;
        }
        throw;
    }
}

class CS3UploadsAbortCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CUploadSelection m_selection;
};

void CS3UploadsAbortCommand::define(CCommandSyntax& syntax) {
    syntax.command("abort", "Abort uploads in progress, and delete their parts");
    m_selection.define(syntax);
    syntax.footer(R"(Examples:
  vexil s3 uploads abort photos --older-than 7d
  vexil s3 uploads abort photos 2024/

The command does not ask. 'vexil s3 uploads ls' with the same arguments shows what it would abort. Uploads
that still run then fail: use --older-than, unless nobody uploads to the bucket. If there is nothing to
abort, the exit code is 0.)");
}

ExitCode CS3UploadsAbortCommand::run(CSession& session) {
    CS3Access access(session);
    // All are listed before the first is aborted: a list that cannot be trusted aborts nothing.
    std::vector<CKeptUpload> selected;
    m_selection.find(access, "NOT aborted",
                     [&selected](const CS3PendingUpload& upload) { selected.emplace_back(upload); });
    int64 count = 0;
    for (const CKeptUpload& kept : selected) {
        CInterrupt::throwIfRequested();
        const CS3PendingUpload upload = kept.get();
        if (abortUpload(access, m_selection.getBucket(), upload)) {
            printUpload(session.getConsole(), "aborted: ", upload);
            ++count;
        }
    }
    session.getConsole().print("aborted: " + formatNumberOf(count, "upload"));
    return m_selection.getExitCode();
}

}  // namespace

std::unique_ptr<CCommand> makeS3UploadsLs() {
    return std::make_unique<CS3UploadsLsCommand>();
}

std::unique_ptr<CCommand> makeS3UploadsAbort() {
    return std::make_unique<CS3UploadsAbortCommand>();
}

}  // namespace vexil::app
