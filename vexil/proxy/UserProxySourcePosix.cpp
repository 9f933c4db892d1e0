#include "vexil/proxy/EnvironmentProxySource.h"

#include <cstdlib>

namespace vexil {

P<IUserProxySource> IUserProxySource::createForSystem() {
    return new CEnvironmentProxySource([](const char* name) {
        const char* const value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
}

}  // namespace vexil
