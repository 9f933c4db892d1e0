#include "vexil/proxy/UserProxySource.h"

namespace vexil {

IUserProxySource::~IUserProxySource() = default;

}  // namespace vexil
