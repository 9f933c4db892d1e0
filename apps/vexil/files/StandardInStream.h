#pragma once

#include "vexil/BaseTypes.h"
#include "zet/InStream.h"

namespace vexil::app {

/// Standard input, which cannot seek, and whose size is unknown.
class CStandardInStream : public virtual CBase, public zet::IInStream {
public:
    CStandardInStream() = default;
    ~CStandardInStream() override;

    /// Waits until all bytes, or the end, have come.
    /// \throws CError of domain "system" if it cannot be read, "Interrupted." (CInterrupt)
    [[nodiscard]] int read(void* buffer, int maxLength) override;
    int64 getSize() override { return -1; }
    /// \throws CError for another position than the current one
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    int64 m_position = 0;
};

}  // namespace vexil::app
