#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/files/StandardInStream.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectUpload.h"
#include "apps/vexil/s3/PartedUpload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/UploadOptions.h"
#include "apps/vexil/transfer/SingleTransfer.h"

#include <string>
#include <vector>

namespace vexil::app {

namespace {

class CS3PutCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    CS3PutOptions makeOptions() const;
    CPartedUpload makePartedUpload() const;
    void store(CS3Access& access, const P<CFileInStream>& file) const;
    void storeStandardInput(CS3Access& access) const;

    std::string m_file;
    std::string m_bucket;
    std::string m_key;
    std::string m_contentType = "application/octet-stream";
    std::string m_storageClass;
    std::string m_checksum;  // "" for none
    std::vector<std::string> m_metadata;
    bool m_onlyIfAbsent = false;
    bool m_resumes = false;
    CUploadOptions m_upload;
};

/// Adds "NAME=VALUE".
void addMetadata(TMap<String, String>& metadata, const std::string& entry) {
    static constexpr char place[] = "CS3PutCommand";
    const std::size_t equals = entry.find('=');
    if (equals == entry.npos) {
        throw CInvalidArgError(place, "--metadata must be NAME=VALUE, not '" +
                                          printable(String::fromUTF8(entry)) + "'");
    }
    const String name = String::fromUTF8(entry.substr(0, equals));
    if (name.equalsNoCase("vexil-part-size")) {
        throw CInvalidArgError(place, "--metadata must not have the name '" + printable(name) +
                                          "': this program stores the size of parts there");
    }
    if (!metadata.try_emplace(name, String::fromUTF8(entry.substr(equals + 1))).second) {
        throw CInvalidArgError(place, "--metadata has the name '" + printable(name) + "' twice");
    }
}

void CS3PutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Store a file as an object")
        .argument("FILE", m_file, "The file to store; - for standard input")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object; an existing object is replaced")
        .option("--content-type", "TYPE", m_contentType,
                "MIME type of the object (default: application/octet-stream)")
        .option("--storage-class", "CLASS", m_storageClass,
                "Storage class of the object, such as STANDARD_IA (default: the server decides)")
        .options("--metadata", "NAME=VALUE", m_metadata,
                 "Store a text with the object, in ASCII; may be repeated")
        .flag("--if-absent", m_onlyIfAbsent, "Do not replace an object: fail if there is one")
        .flag("--resume", m_resumes,
              "Keep the parts if the upload fails, and continue an earlier upload of this file")
        .choice("--checksum", "KIND", m_checksum, {"crc32c", "sha256"},
                "Let the server check the content with this checksum, and store it (default: none)");
    m_upload.define(syntax, "How many parts are sent at once, at most (default: 8)");
    syntax.footer(R"(Examples:
  vexil s3 put holiday.jpg photos 2024/holiday.jpg --content-type image/jpeg
  vexil s3 put a.jpg photos a.jpg --metadata camera=x1 --metadata owner=kim
  vexil s3 put disk.img backups disk.img --part-size 64 --jobs 4
  tar -c ~/Documents | vexil s3 put - backups documents.tar

A file above 64 MiB, and standard input of more than a part, is sent in parts. It becomes one object, whose
ETag is not its MD5; the metadata vexil-part-size of a file tells the size of its parts. If the upload fails
or is interrupted, its parts are deleted, and the old object stays.

With --resume the parts stay, also if the program is killed, and the same command continues the upload. If
it is never continued, 'vexil s3 uploads abort' deletes the parts, for which servers charge until then.

With --if-absent the exit code is 1 if there is an object already. Servers that do not know the condition
replace the object, or refuse it. If an upload breaks and is tried again, the object may be its own.)");
}

CS3PutOptions CS3PutCommand::makeOptions() const {
    CS3PutOptions options;
    options.contentType = String::fromUTF8(m_contentType);
    options.storageClass = String::fromUTF8(m_storageClass);
    for (const std::string& entry : m_metadata) {
        addMetadata(options.metadata, entry);
    }
    options.ifNoneMatch = m_onlyIfAbsent ? "*" : "";
    if (!m_checksum.empty()) {
        options.checksum = m_checksum == "crc32c" ? S3Checksum::CRC32C : S3Checksum::SHA256;
    }
    return options;
}

CPartedUpload CS3PutCommand::makePartedUpload() const {
    return {.bucket = String::fromUTF8(m_bucket),
            .key = String::fromUTF8(m_key),
            .options = makeOptions(),
            .partSize = m_upload.getParts().getSize(),
            .jobs = m_upload.getParts().getJobs(),
            .check = m_upload.getCheckOfParts()};
}

void CS3PutCommand::storeStandardInput(CS3Access& access) const {
    CProgress progress(access.getConsole());
    CFileProgress fileProgress(progress, String());
    const P<CStandardInStream> stream = make<CStandardInStream>();
    uploadStream(access, *stream, makePartedUpload(), fileProgress);
}

void CS3PutCommand::store(CS3Access& access, const P<CFileInStream>& file) const {
    const CPartedUpload parted = makePartedUpload();
    if (m_upload.isSentInParts(file->getSize())) {
        CProgress progress(access.getConsole());
        CFileProgress fileProgress(progress, String());
        (m_resumes ? uploadInPartsOrResume : uploadInParts)(access, toPath(m_file), parted, fileProgress);
        return;
    }
    access.getClient().setUploadCheck(m_upload.getCheckOfObjects(access));
    CObjectUpload upload(access, file, parted.bucket, parted.key, parted.options);
    runSingleTransfer(access.getSession(), access.getPolicy(), upload);
    file->checkUnchanged();
}

ExitCode CS3PutCommand::run(CSession& session) {
    const bool isStandardInput = m_file == "-";
    if (isStandardInput && m_resumes) {
        throw CInvalidArgError("CS3PutCommand", "--resume needs a file: standard input cannot be read again");
    }
    const P<CFileInStream> file = isStandardInput ? nullptr : new CInterruptibleFile(toPath(m_file));
    CS3Access access(session);
    try {
        if (isStandardInput) {
            storeStandardInput(access);
        } else {
            store(access, file);
        }
    } catch (const CError& error) {
        if (m_onlyIfAbsent && CS3Client::isPreconditionFailed(error)) {
            throw CError("There is an object '" + printable(String::fromUTF8(m_key)) + "' in the bucket '" +
                         printable(String::fromUTF8(m_bucket)) + "' already. It was not replaced.");
        }
        throw;
    }
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Put() {
    return std::make_unique<CS3PutCommand>();
}

}  // namespace vexil::app
