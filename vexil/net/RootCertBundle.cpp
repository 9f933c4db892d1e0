#include "vexil/net/RootCertBundle.h"

#include "zet/ResourceManager.h"

namespace vexil {

TPathImpl<CWindowsPathTraits> getRootCertBundlePath() {
    using Path = TPathImpl<CWindowsPathTraits>;
    Path bundle = zet::CResourceManager::get()->findResource(Path("vexil").join("ca-bundle.crt"));
    if (bundle.isEmpty()) {
        throw CError("INTERNAL ERROR: Root certificate bundle not found in application resources.");
    }
    return bundle;
}

}  // namespace vexil
