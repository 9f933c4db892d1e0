#include "apps/vexil/s3/UploadOptions.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/s3/S3Access.h"

namespace vexil::app {

namespace {

constexpr const char* before = "before";
constexpr const char* whileSending = "while";

}  // namespace

void CUploadOptions::define(CCommandSyntax& syntax, const char* jobsHelp) {
    m_parts.define(syntax, 5, 5120,
                   "Send a larger file in parts of this many MiB (default: a file above 64 MiB in parts of 8 "
                   "MiB, or more if it needs more than 10,000)",
                   jobsHelp);
    syntax.choice(
        "--upload-check", "WHEN", m_check, {before, whileSending},
        "Compute the checksum before a file is sent (reads it twice), or while it is sent (reads it "
        "once) (default: while for parts over https, otherwise before)");
}

bool CUploadOptions::isSentInParts(int64 size) const {
    return size > m_parts.getLimit();
}

std::optional<S3UploadCheck> CUploadOptions::getCheckOfParts() const {
    if (m_check.empty()) {
        return std::nullopt;
    }
    return m_check == whileSending ? S3UploadCheck::WhileSending : S3UploadCheck::BeforeSending;
}

S3UploadCheck CUploadOptions::getCheckOfObjects(CS3Access& access) const {
    // Without a comparison of ETags the server itself must check the content.
    const bool isReadOnce = access.verifiesETags() && getCheckOfParts() == S3UploadCheck::WhileSending;
    return isReadOnce ? S3UploadCheck::WhileSending : S3UploadCheck::BeforeSending;
}

}  // namespace vexil::app
