#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Absolute path of the certificate bundle "vexil/ca-bundle.crt" among the application's resources
/// (zet::CResourceManager), for CNetRequest::setRootCertBundlePath. The library itself never uses it. Any
/// thread.
/// \throws CError "INTERNAL ERROR: Root certificate bundle not found in application resources."
VEXIL_API TPathImpl<CWindowsPathTraits> getRootCertBundlePath();

}  // namespace vexil
