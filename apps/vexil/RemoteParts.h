#pragma once

#include "vexil/BaseTypes.h"

#include <set>

namespace vexil::app {

class CContext;

/// The files on an FTP server that uploads have begun and not moved to their names yet. They are deleted when this is
/// destroyed, as far as that can be done; what cannot is told. By then no upload may run any more.
class CRemoteParts {
public:
    /// The context must outlive it.
    explicit CRemoteParts(CContext& context) : m_context(context) {}
    ~CRemoteParts();
    CRemoteParts(const CRemoteParts&) = delete;
    CRemoteParts& operator=(const CRemoteParts&) = delete;

    void add(const String& path) { m_paths.insert(path); }
    void remove(const String& path) { m_paths.erase(path); }

private:
    void removeAll();

    CContext& m_context;
    std::set<String> m_paths;
};

}  // namespace vexil::app
