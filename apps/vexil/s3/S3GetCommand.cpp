#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/console/StandardStreams.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectDownload.h"
#include "apps/vexil/s3/PartedDownload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace vexil::app {

namespace {

/// Something that is not replaced, but written to: a device or a pipe.
bool isSpecialFile(const std::filesystem::path& path) {
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path, ignored);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
}

class CS3GetCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    void downloadFile(CS3Access& access, const std::filesystem::path& path) const;
    void downloadStream(CS3Access& access, const P<zet::IOutStream>& out) const;
    bool downloadSmall(CS3Access& access, const P<zet::IOutStream>& out) const;
    CPartedDownload makePartedDownload() const;

    std::string m_bucket;
    std::string m_key;
    std::string m_file;
    CDownloadOptions m_options;
};

void CS3GetCommand::define(CCommandSyntax& syntax) {
    syntax.command("get", "Download an object")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object")
        .optionalArgument("FILE", m_file,
                          "The file to write; an existing file is replaced (default: standard output)");
    m_options.define(syntax, "How many parts of an object are read at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil s3 get photos 2024/holiday.jpg holiday.jpg
  vexil s3 get backups list.txt | less

An interrupted download continues where it stopped. The file gets its name when it is complete. A failed
download leaves no file of this name. If the object was read in parts, the complete parts stay in a hidden
file beside it, and the same command continues after them.)");
}

ExitCode CS3GetCommand::run(CSession& session) {
    // Check the keys first, so that a missing key does not destroy an existing file.
    CS3Access access(session);
    if (m_file.empty() || m_file == "-") {
        downloadStream(access, new CStandardOutStream(session.getConsole()));
    } else {
        downloadFile(access, toPath(m_file));
    }
    return ExitCode::Done;
}

void CS3GetCommand::downloadFile(CS3Access& access, const std::filesystem::path& path) const {
    const CPartedDownload parted = makePartedDownload();
    CLeftParts::clearOf(access.getConsole(), path, parted.getContent());
    if (isSpecialFile(path)) {
        CPartFile file(path);
        downloadStream(access, file.getStream());
        file.commit();
        return;
    }
    {
        CPartFile file(path);
        if (downloadSmall(access, file.getStream())) {
            file.commit();
            CLeftParts::clearOf(access.getConsole(), path);
            return;
        }
    }
    CProgress progress(access.getConsole());
    CFileProgress fileProgress(progress, String());
    downloadInParts(access, parted, path, fileProgress);
}

void CS3GetCommand::downloadStream(CS3Access& access, const P<zet::IOutStream>& out) const {
    if (!downloadSmall(access, out)) {
        CProgress progress(access.getConsole());
        CFileProgress fileProgress(progress, String());
        downloadInParts(access, makePartedDownload(), *out, fileProgress);
    }
}

/// \return false if the object must be read in parts; nothing is written then
bool CS3GetCommand::downloadSmall(CS3Access& access, const P<zet::IOutStream>& out) const {
    CObjectDownload download(access, String::fromUTF8(m_bucket), String::fromUTF8(m_key), out);
    download.setRefusal(
        [this](int64 size, const String& eTag) { return isReadInParts(m_options, size, eTag); });
    try {
        runSingleTransfer(access.getSession(), access.getPolicy(), download);
        return true;
    } catch (const CError&) {
        if (!download.isRefused()) {
            throw;
        }
    }
    access.getSession().setFailedRequest(nullptr);
    return false;
}

CPartedDownload CS3GetCommand::makePartedDownload() const {
    return {String::fromUTF8(m_bucket), String::fromUTF8(m_key), m_options};
}

}  // namespace

std::unique_ptr<CCommand> makeS3Get() {
    return std::make_unique<CS3GetCommand>();
}

}  // namespace vexil::app
