#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectUpload.h"
#include "apps/vexil/s3/PartedUpload.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/SessionQueue.h"
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
    void store(CS3Access& access, const P<CFileInStream>& file, const String& bucket,
               const String& key) const;

    std::string m_file;
    std::string m_bucket;
    std::string m_key;
    std::string m_contentType = "application/octet-stream";
    std::string m_storageClass;
    std::vector<std::string> m_metadata;
    bool m_onlyIfAbsent = false;
    int m_partSize = 0;  // MiB; 0 if it is not given
    int m_jobs = CSessionQueue::defaultCount;
};

constexpr int64 mebibyte = 1 << 20;

/// Adds "NAME=VALUE".
void addMetadata(TMap<String, String>& metadata, const std::string& entry) {
    static constexpr char place[] = "CS3PutCommand";
    const std::size_t equals = entry.find('=');
    if (equals == entry.npos) {
        throw CInvalidArgError(place, "--metadata must be NAME=VALUE, not '" +
                                          printable(String::fromUTF8(entry)) + "'");
    }
    const String name = String::fromUTF8(entry.substr(0, equals));
    if (!metadata.try_emplace(name, String::fromUTF8(entry.substr(equals + 1))).second) {
        throw CInvalidArgError(place, "--metadata has the name '" + printable(name) + "' twice");
    }
}

void CS3PutCommand::define(CCommandSyntax& syntax) {
    syntax.command("put", "Store a file as an object")
        .argument("FILE", m_file, "The file to store")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object; an existing object is replaced")
        .option("--content-type", "TYPE", m_contentType,
                "MIME type of the object (default: application/octet-stream)")
        .option("--storage-class", "CLASS", m_storageClass,
                "Storage class of the object, such as STANDARD_IA (default: the server decides)")
        .options("--metadata", "NAME=VALUE", m_metadata,
                 "Store a text with the object, in ASCII; may be repeated")
        .flag("--if-absent", m_onlyIfAbsent, "Do not replace an object: fail if there is one")
        .number("--part-size", "MIB", m_partSize, 5, 5120,
                "Send a larger file in parts of this many MiB (default: in parts only above 5 GiB)")
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount,
                "How many parts are sent at once, at most (default: 8)")
        .footer(R"(Examples:
  vexil s3 put holiday.jpg photos 2024/holiday.jpg --content-type image/jpeg
  vexil s3 put a.jpg photos a.jpg --metadata camera=x1 --metadata owner=kim
  vexil s3 put disk.img backups disk.img --part-size 64 --jobs 4

A file that is sent in parts becomes one object; the ETag of the object is then not its MD5. If the upload
fails or is interrupted, its parts are deleted.

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
    return options;
}

void CS3PutCommand::store(CS3Access& access, const P<CFileInStream>& file, const String& bucket,
                          const String& key) const {
    const int64 partSize = m_partSize * mebibyte;
    if (file->getSize() > (partSize > 0 ? partSize : CS3Client::maxPutSize)) {
        uploadInParts(
            access, toPath(m_file),
            {.bucket = bucket, .key = key, .options = makeOptions(), .partSize = partSize, .jobs = m_jobs});
        return;
    }
    CObjectUpload upload(access, file, bucket, key, makeOptions());
    runSingleTransfer(access.getSession(), access.getPolicy(), upload);
}

ExitCode CS3PutCommand::run(CSession& session) {
    const P<CFileInStream> file = new CInterruptibleFile(toPath(m_file));
    CS3Access access(session);
    const String bucket = String::fromUTF8(m_bucket);
    const String key = String::fromUTF8(m_key);
    try {
        store(access, file, bucket, key);
    } catch (const CError& error) {
        if (m_onlyIfAbsent && CS3Client::isPreconditionFailed(error)) {
            throw CError("There is an object '" + printable(key) + "' in the bucket '" + printable(bucket) +
                         "' already. It was not replaced.");
        }
        throw;
    }
    file->checkUnchanged();
    return ExitCode::Done;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Put() {
    return std::make_unique<CS3PutCommand>();
}

}  // namespace vexil::app
