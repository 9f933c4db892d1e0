#pragma once

#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

namespace vexil::app {

class CConsole;

/// Writes to standard output, which cannot take back bytes: it can only seek to the current position. The
/// console must outlive it.
class CStandardOutStream : public virtual CBase, public zet::IOutStream {
public:
    /// \throws CError before any transfer, if standard output is closed
    explicit CStandardOutStream(CConsole& console);
    ~CStandardOutStream() override;

    void write(const void* data, int length) override;
    int64 getSize() override { return m_position; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    CConsole& m_console;
    int64 m_position = 0;
};

}  // namespace vexil::app
