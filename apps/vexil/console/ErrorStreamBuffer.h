#pragma once

#include <streambuf>

namespace vexil::app {

/// Standard error, unbuffered. A write that has to wait for whoever reads it fails once the program is interrupted: it
/// would hold up the end of the program.
class CErrorStreamBuffer : public std::streambuf {
protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
};

}  // namespace vexil::app
