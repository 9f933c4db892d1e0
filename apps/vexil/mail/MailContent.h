/// \file
/// What a mail carries, from files.
#pragma once

#include "vexil/mail/MimeMessage.h"

#include <filesystem>
#include <string>

namespace vexil::app {

class CConsole;

/// The text of a file, "-" for standard input. Bytes that are not UTF-8 are replaced, with a warning: a report must not
/// stay away because of a file name in it.
/// \throws CInvalidArgError when there is no such file, CError if it or standard input cannot be read to its end
String readMailText(const std::string& file, CConsole& console);

/// A file as a part of a mail, under its name without folders.
/// \throws CInvalidArgError when there is no such file or it is not a regular one, CError if it cannot be read to its end
P<CMimeMessage> makeMailAttachment(const std::filesystem::path& file);

}  // namespace vexil::app
