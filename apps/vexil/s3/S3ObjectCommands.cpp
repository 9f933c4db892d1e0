#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/HeaderList.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectDeletion.h"
#include "apps/vexil/s3/ObjectListing.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/transfer/ResponseCheck.h"

#include <string>

namespace vexil::app {

namespace {

// ---- cp ---------------------------------------------------------------------------------------------------

constexpr char sameBucket[] = "/";  // not a name of a bucket

class CS3CpCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::string m_from;
    std::string m_to;
    // "" must not mean the same bucket: it usually comes from an unset shell variable.
    std::string m_toBucket = sameBucket;
    std::string m_storageClass;
};

void CS3CpCommand::define(CCommandSyntax& syntax) {
    syntax.command("cp", "Copy an object on the server, also to another bucket")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("FROM", m_from, "Name of the object")
        .argument("TO", m_to, "Name of the copy; an existing object is replaced")
        .option("--to-bucket", "BUCKET", m_toBucket, "Bucket of the copy (default: the same bucket)")
        .option("--storage-class", "CLASS", m_storageClass,
                "Storage class of the copy, such as STANDARD_IA (default: the server decides)")
        .footer(R"(Examples:
  vexil s3 cp photos holiday.jpg 2024/holiday.jpg
  vexil s3 cp photos 2024/holiday.jpg 2024/holiday.jpg --to-bucket archive

An object above 5 GiB is copied in parts. The copy keeps content type and metadata. If the object changes
meanwhile, the exit code is 1.)");
}

ExitCode CS3CpCommand::run(CSession& session) {
    CS3Access access(session);
    CS3CopyOptions options;
    options.target.storageClass = String::fromUTF8(m_storageClass);
    access.getClient().copyLargeObject(
        access.getRequest(), {.bucket = String::fromUTF8(m_bucket), .object = String::fromUTF8(m_from)},
        String::fromUTF8(m_toBucket == sameBucket ? m_bucket : m_toBucket), String::fromUTF8(m_to), options);
    return ExitCode::Done;
}

// ---- head -------------------------------------------------------------------------------------------------

class CS3HeadCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
    std::string m_key;
};

void CS3HeadCommand::define(CCommandSyntax& syntax) {
    syntax.command("head", "Show the headers of an object: size, time, ETag, type")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object")
        .footer(R"(Example:
  vexil s3 head photos 2024/holiday.jpg)");
}

ExitCode CS3HeadCommand::run(CSession& session) {
    CS3Access access(session);
    access.getClient().getObjectHeaders(access.getRequest(), String::fromUTF8(m_bucket),
                                        String::fromUTF8(m_key));
    checkResponseIsComplete(access.getRequest());
    printHeaders(session.getConsole(), access.getRequest());
    return ExitCode::Done;
}

// ---- rm ---------------------------------------------------------------------------------------------------

/// Whether an object exists, or these keys are not allowed to know: the response to a deletion does not say
/// it.
bool mayExist(CS3Access& access, const String& bucket, const String& key) {
    try {
        access.getClient().getObjectHeaders(access.getRequest(), bucket, key);
        checkResponseIsComplete(access.getRequest());
        return true;
    } catch (const CError& error) {
        const CErrorDiagnosis diagnosis = diagnoseS3(error);
        if (!diagnosis.isMissing() && !diagnosis.isAccessDenied()) {
            throw;
        }
        return diagnosis.isAccessDenied();
    }
}

class CS3RmCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    ExitCode removeAll(CS3Access& access) const;
    static int64 removeListed(CObjectListing& objects, CObjectDeletion& deletion);

    std::string m_bucket;
    std::string m_key;
    bool m_isRecursive = false;
    int m_jobs = CSessionQueue::defaultCount;
};

void CS3RmCommand::define(CCommandSyntax& syntax) {
    syntax.command("rm", "Delete an object, or all objects below a prefix")
        .argument("BUCKET", m_bucket, "Bucket of the object")
        .argument("KEY", m_key, "Name of the object; with --recursive the beginning of all names to delete")
        .flag("-r,--recursive", m_isRecursive, "Delete every object whose name begins with KEY")
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount,
                "With --recursive: how many requests delete objects at once, at most (default: 8). A request "
                "deletes up to 1,000 objects, if the server allows it")
        .footer(R"(Examples:
  vexil s3 rm photos 2024/holiday.jpg
  vexil s3 rm --recursive photos 2024/
  vexil s3 rm --recursive photos ""        (the whole bucket)

The command does not ask, and deleted objects are lost. If there is nothing to delete, the exit code is 3.
Objects whose keys cannot be read from the listing are listed and stay, and the exit code is 1.)");
}

ExitCode CS3RmCommand::run(CSession& session) {
    CS3Access access(session);
    if (m_isRecursive) {
        return removeAll(access);
    }
    const String bucket = String::fromUTF8(m_bucket);
    const String key = String::fromUTF8(m_key);
    const bool isThere = mayExist(access, bucket, key);
    // In any case, because the object may be stored in between. The response also reports a bucket that does
    // not exist.
    access.deleteObject(bucket, key);
    if (!isThere) {
        throw CMissingError("There is no object '" + printable(key) + "' in the bucket '" +
                            printable(bucket) + "'.");
    }
    return ExitCode::Done;
}

/// Deletes all objects of a listing, and reports those whose keys cannot be read.
/// \return the number of reported ones
int64 CS3RmCommand::removeListed(CObjectListing& objects, CObjectDeletion& deletion) {
    int64 unreadable = 0;
    try {
        while (const P<CS3ListObjectsElement> element = objects.findNext()) {
            unreadable += objects.reportUnreadableKeys("NOT deleted");
            deletion.add(element->getKey());
        }
    } catch (const std::exception&) {
        // Requests that were begun before an error of the listing must still end.
        deletion.finishBegun();
        throw;
    }
    deletion.finish();
    return unreadable + objects.reportUnreadableKeys("NOT deleted");
}

ExitCode CS3RmCommand::removeAll(CS3Access& access) const {
    const String bucket = String::fromUTF8(m_bucket);
    CObjectListing objects(access, bucket, String::fromUTF8(m_key));
    CObjectDeletion deletion(access, bucket, m_jobs);
    const int64 unreadable = removeListed(objects, deletion);
    const int64 count = deletion.getCount();
    access.getConsole().print("deleted: " + formatNumberOf(count, "object"));
    if (count + unreadable == 0) {
        access.getConsole().message(Verbosity::Warning,
                                    "vexil: warning: there was nothing to delete; is the prefix right?");
        return ExitCode::NotFound;
    }
    return unreadable == 0 ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Cp() {
    return std::make_unique<CS3CpCommand>();
}

std::unique_ptr<CCommand> makeS3Head() {
    return std::make_unique<CS3HeadCommand>();
}

std::unique_ptr<CCommand> makeS3Rm() {
    return std::make_unique<CS3RmCommand>();
}

}  // namespace vexil::app
