#include "vexil/s3/S3Environment.h"

#include <cstdlib>

namespace vexil {

String getEnvironment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

String getHomeFolder() {
    return getEnvironment("HOME");
}

}  // namespace vexil
