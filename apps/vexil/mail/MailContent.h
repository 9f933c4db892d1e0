/// \file
/// The content of a mail, from files.
#pragma once

#include "vexil/mail/MimeMessage.h"

#include <filesystem>
#include <string>

namespace vexil::app {

class CConsole;

/// The text of a file, "-" for standard input. Bytes that are not UTF-8 are replaced, with a warning: a file
/// name in a report must not stop the report.
/// \throws CInvalidArgError if the file does not exist, CError if it or standard input cannot be read to its
///         end
String readMailText(const std::string& file, CConsole& console);

/// A file as a part of a mail, under its name without folders.
/// \throws CInvalidArgError if the file does not exist or is not a regular file, CError if it cannot be read
///         to its end
P<CMimeMessage> makeMailAttachment(const std::filesystem::path& file);

}  // namespace vexil::app
