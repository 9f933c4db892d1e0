#include "apps/vexil/Login.h"

#include "apps/vexil/Platform.h"

namespace vexil::app {

namespace {

String fromVariable(const char* name) {
    try {
        return String::fromUTF8(getEnvironmentVariable(name).value_or(""));
    } catch (const CError&) {
        // Without the bytes: they are a secret, if perhaps a damaged one.
        throw CInvalidArgError("CLogin", String("the value of ") + name + " is not UTF-8 text");
    }
}

}  // namespace

CLogin CLogin::fromEnvironment(const char* userVariable, const char* passwordVariable) {
    const String user = fromVariable(userVariable);
    const String password = fromVariable(passwordVariable);
    if (user.isEmpty() != password.isEmpty()) {
        throw CInvalidArgError("CLogin", String(user.isEmpty() ? passwordVariable : userVariable) +
                                             " is set without " +
                                             (user.isEmpty() ? userVariable : passwordVariable));
    }
    return {user, password};
}

}  // namespace vexil::app
