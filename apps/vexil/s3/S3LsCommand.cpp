#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/Commands.h"
#include "apps/vexil/s3/ObjectListing.h"
#include "apps/vexil/s3/S3Access.h"
#include "vexil/s3/S3VersionEnum.h"

#include <string>

namespace vexil::app {

namespace {

constexpr std::size_t sizeColumns = 12;

String padLeft(const String& text) {
    const std::size_t missing = text.length() < sizeColumns ? sizeColumns - text.length() : 0;
    return String(std::wstring(missing, L' ')) + text;
}

String describeSize(const CS3ObjectVersion& version) {
    if (version.isDeleteMarker) {
        return "deleted";
    }
    return version.size < 0 ? String("-") : String::fromInt(version.size);
}

/// \return the number of versions whose keys could not be read since the last call
int64 reportUnreadable(CConsole& console, CS3VersionEnum& versions) {
    const TArray<String> keys = versions.takeUnreadableKeys();
    for (const String& key : keys) {
        console.message(Verbosity::Error,
                        "NOT listed: " + printable(key) + ": " + CObjectListing::unreadableReason);
    }
    return static_cast<int64>(keys.size());
}

class CS3LsCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    ExitCode listVersions(CS3Access& access) const;

    bool m_showsVersions = false;
    std::string m_bucket;
    std::string m_prefix;
};

void CS3LsCommand::define(CCommandSyntax& syntax) {
    syntax.command("ls", "List the objects of a bucket: size, time of change, name")
        .argument("BUCKET", m_bucket, "Bucket to list")
        .optionalArgument("PREFIX", m_prefix, "Only names that begin with this text (default: all)")
        .flag("--versions", m_showsVersions,
              "List all versions of the objects: size, time of change, current or old, ID of the version, "
              "name. The size of a version that says that the object is deleted is 'deleted'")
        .footer(R"(Examples:
  vexil s3 ls photos
  vexil s3 ls photos 2024/
  vexil s3 ls photos --versions)");
}

ExitCode CS3LsCommand::run(CSession& session) {
    CConsole& console = session.getConsole();
    CS3Access access(session);
    if (m_showsVersions) {
        return listVersions(access);
    }
    CObjectListing objects(access, String::fromUTF8(m_bucket), String::fromUTF8(m_prefix));
    int64 unreadable = 0;
    while (const P<CS3ListObjectsElement> element = objects.findNext()) {
        unreadable += objects.reportUnreadableKeys("NOT listed");
        console.print(padLeft(String::fromInt(element->getSize())) + "  " +
                      printable(element->getLastModified()) + "  " + printable(element->getKey()));
    }
    unreadable += objects.reportUnreadableKeys("NOT listed");
    return unreadable == 0 ? ExitCode::Done : ExitCode::Failed;
}

ExitCode CS3LsCommand::listVersions(CS3Access& access) const {
    CConsole& console = access.getConsole();
    CS3VersionEnum versions(&access.getClient(), &access.getRequest(), String::fromUTF8(m_bucket),
                            {.prefix = String::fromUTF8(m_prefix)});
    int64 unreadable = 0;
    while (versions.next()) {
        CInterrupt::throwIfRequested();
        unreadable += reportUnreadable(console, versions);
        const CS3ObjectVersion& version = *versions.getCurrent();
        console.print(padLeft(describeSize(version)) + "  " + printable(version.lastModified) +
                      (version.isLatest ? "  current  " : "  old      ") + printable(version.versionId) +
                      "  " + printable(version.key));
    }
    unreadable += reportUnreadable(console, versions);
    return unreadable == 0 ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

std::unique_ptr<CCommand> makeS3Ls() {
    return std::make_unique<CS3LsCommand>();
}

}  // namespace vexil::app
