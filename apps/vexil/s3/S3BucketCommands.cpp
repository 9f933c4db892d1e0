#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/S3Access.h"
#include "vexil/s3/S3CircleGuard.h"

#include <string>

namespace vexil::app {

namespace {

constexpr int maxEmptyPages = 1000;

void checkBucket(const char* command, const std::string& bucket) {
    if (bucket.empty()) {
        throw CInvalidArgError(command, "bucket name must not be empty");
    }
}

// ---- mb ---------------------------------------------------------------------------------------------------

class CS3MbCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
};

void CS3MbCommand::define(CCommandSyntax& syntax) {
    syntax.command("mb", "Make a bucket")
        .argument("BUCKET", m_bucket, "Name of the bucket")
        .footer(R"(Example:
  vexil s3 mb photos

The bucket is made in the region of --region. Its name is sent to the server, unless it is us-east-1.)");
}

ExitCode CS3MbCommand::run(CSession& session) {
    checkBucket("vexil s3 mb", m_bucket);
    CS3Access access(session);
    access.getClient().createBucket(access.getRequest(), String::fromUTF8(m_bucket));
    return ExitCode::Done;
}

// ---- rb ---------------------------------------------------------------------------------------------------

class CS3RbCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_bucket;
};

void CS3RbCommand::define(CCommandSyntax& syntax) {
    syntax.command("rb", "Remove an empty bucket")
        .argument("BUCKET", m_bucket, "Name of the bucket")
        .footer(R"(Example:
  vexil s3 rb photos

A bucket that still has objects, or versions of objects, stays, and the exit code is 1.)");
}

ExitCode CS3RbCommand::run(CSession& session) {
    checkBucket("vexil s3 rb", m_bucket);
    CS3Access access(session);
    access.getClient().deleteBucket(access.getRequest(), String::fromUTF8(m_bucket));
    return ExitCode::Done;
}

// ---- buckets ----------------------------------------------------------------------------------------------

class CS3BucketsCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;
};

void CS3BucketsCommand::define(CCommandSyntax& syntax) {
    syntax.command("buckets", "List the buckets of the account: time of creation, name").footer(R"(Example:
  vexil s3 buckets)");
}

ExitCode CS3BucketsCommand::run(CSession& session) {
    CS3Access access(session);
    CS3CircleGuard guard;
    int emptyPages = 0;
    for (String token;;) {
        CInterrupt::throwIfRequested();
        const P<CS3BucketList> list = access.getClient().listBuckets(access.getRequest(), token);
        for (const CS3Bucket& bucket : list->getBuckets()) {
            session.getConsole().print(printable(bucket.creationDate) + "  " + printable(bucket.name));
        }
        token = list->getContinuationToken();
        if (token.isEmpty()) {
            return ExitCode::Done;
        }
        if (guard.isRepeated(token.toUTF8())) {
            throw CError("The list of buckets goes in a circle.");
        }
        emptyPages = list->getBuckets().empty() ? emptyPages + 1 : 0;
        if (emptyPages > maxEmptyPages) {
            throw CError("The list of buckets has more than " + String::fromInt(maxEmptyPages) +
                         " pages without a bucket.");
        }
    }
}

}  // namespace

std::unique_ptr<CCommand> makeS3Mb() {
    return std::make_unique<CS3MbCommand>();
}

std::unique_ptr<CCommand> makeS3Rb() {
    return std::make_unique<CS3RbCommand>();
}

std::unique_ptr<CCommand> makeS3Buckets() {
    return std::make_unique<CS3BucketsCommand>();
}

}  // namespace vexil::app
