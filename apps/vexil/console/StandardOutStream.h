#pragma once

#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

namespace vexil::app {

class CConsole;

/// Writes to standard output, which cannot take back what it was given: seeking goes to the current position
/// only. The console must outlive it.
class CStandardOutStream : public virtual CBase, public zet::IOutStream {
public:
    /// \throws CError if standard output is closed: before anything is transferred
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
