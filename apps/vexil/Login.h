#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// The user name and password for a server. They come from the environment or from a file, never from the
/// arguments, which every user of the machine can read; no message shows the password.
class CLogin {
public:
    /// None.
    CLogin() = default;
    CLogin(const String& user, const String& password) : m_user(user), m_password(password) {}

    /// From two variables; none where both are not set or empty.
    /// \throws CInvalidArgError where only one of them is
    static CLogin fromEnvironment(const char* userVariable, const char* passwordVariable);

    bool isNone() const noexcept { return m_user.isEmpty(); }
    const String& getUser() const noexcept { return m_user; }
    const String& getPassword() const noexcept { return m_password; }

private:
    String m_user;
    String m_password;
};

}  // namespace vexil::app
