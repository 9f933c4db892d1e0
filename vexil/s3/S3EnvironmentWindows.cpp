#include "vexil/s3/S3Environment.h"

#include <cstdlib>

namespace vexil {

String getEnvironment(const char* name) {
    const wchar_t* const value = _wgetenv(String(name).c_str());
    return value ? String(value) : String();
}

String getHomeFolder() {
    return getEnvironment("USERPROFILE");
}

}  // namespace vexil
