#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Absolute path of the certificate bundle "vexil/ca-bundle.crt" in the application's resources
/// (zet::CResourceManager), for CNetRequest::setRootCertBundlePath. The library does not use it without that.
/// Any thread.
/// \throws CError "INTERNAL ERROR: Root certificate bundle not found in application resources."
[[nodiscard]] VEXIL_API TPathImpl<CWindowsPathTraits> getRootCertBundlePath();

}  // namespace vexil
