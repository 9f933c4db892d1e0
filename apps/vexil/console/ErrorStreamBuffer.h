#pragma once

#include <streambuf>

namespace vexil::app {

/// Standard error, unbuffered. A write that waits for a slow reader fails after an interrupt: otherwise it
/// would delay the end of the program.
class CErrorStreamBuffer : public std::streambuf {
protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
};

}  // namespace vexil::app
