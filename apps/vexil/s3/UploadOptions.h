#pragma once

#include "apps/vexil/s3/PartOptions.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3SigningOptions.h"

#include <optional>
#include <string>

namespace vexil::app {

class CS3Access;

/// The options of the commands that store files: what is sent in parts, and when the content is checked.
class CUploadOptions {
public:
    /// Adds --part-size, --jobs and --upload-check.
    void define(CCommandSyntax& syntax, const char* jobsHelp);

    bool isSentInParts(int64 size) const;
    const CPartOptions& getParts() const { return m_parts; }
    /// Nullopt for the default of the library: over https a part is read once. If its ETag is wrong, it is
    /// sent again before the object is made.
    std::optional<S3UploadCheck> getCheckOfParts() const;
    /// For objects that are stored by one request. By default they are read before they are sent: the server
    /// refuses a wrong content, and the second reading finds the file in the memory of the system.
    S3UploadCheck getCheckOfObjects(CS3Access& access) const;

private:
    CPartOptions m_parts;
    std::string m_check;  // "" if it is not given
};

}  // namespace vexil::app
