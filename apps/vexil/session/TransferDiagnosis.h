/// \file
/// What errors mean that no protocol knows better: of libcurl, HTTP, proxies and the operating system.
#pragma once

#include "apps/vexil/base/ErrorDiagnosis.h"

namespace vexil::app {

/// What an error means. For an error of a protocol, ask that protocol first.
CErrorDiagnosis diagnoseTransfer(const CError& error);

/// What the user can do about an error of libcurl; "" if nothing is known.
/// \param code  a CURLcode
String getHintForCurl(int64 code);

}  // namespace vexil::app
