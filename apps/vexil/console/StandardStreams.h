#pragma once

#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

#include <streambuf>

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

/// Standard error, unbuffered. A write that waits for a slow reader fails after an interrupt: otherwise it
/// would delay the end of the program.
class CErrorStreamBuffer : public std::streambuf {
protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
};

}  // namespace vexil::app
