/// \file
/// By the digits in the name of a part on a server (PartName.h), a later run knows those of its own kind: six stand for the
/// computer and the user, six for the process, and four are random.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// Digits for a part of this process, different ones at each call.
String makeServerPartDigits();

/// Whether a part was made by this user on this computer, in a process that no longer runs. Also of parts with the number of
/// this process: an earlier one may have had it.
bool isLeftServerPart(const String& digits);

}  // namespace vexil::app
