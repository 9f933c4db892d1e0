/// \file
/// The digits in the name of a part on a server (PartName.h) show a later run which parts it may delete: six
/// digits identify the computer and the user, six the process, and four are random.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// Digits for a part of this process, different ones at each call.
String makeServerPartDigits();

/// Whether a part was made by this user on this computer, in a process that has ended. True also for the ID
/// of this process: an earlier process may have had it.
bool isLeftServerPart(const String& digits);

}  // namespace vexil::app
