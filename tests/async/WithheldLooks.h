#pragma once

namespace vexil_test {

/// While it lives, an engine on this thread gets only one look at all transfers, for its first step: a
/// transfer that waits for a further one never ends. For programs that have WithheldLooks.cpp and export
/// their symbols.
class WithheldLooks {
public:
    WithheldLooks();
    WithheldLooks(const WithheldLooks&) = delete;
    WithheldLooks& operator=(const WithheldLooks&) = delete;
    ~WithheldLooks();
};

}  // namespace vexil_test
