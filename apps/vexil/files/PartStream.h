#pragma once

#include "vexil/BaseTypes.h"
#include "zet/FileOutStream.h"

#include <functional>

namespace vexil::app {

/// Writes a file that may already have the first bytes of its content.
class CPartStream : public zet::CFileOutStream {
public:
    using zet::CFileOutStream::CFileOutStream;

    /// Reuses the first bytes of the file: reads them, drops the rest, and continues after them.
    /// \param onBlock  called with each block, in order; may throw
    void keep(int64 size, const std::function<void(const void* data, int length)>& onBlock);

private:
    int readBlock(char* block, int64 wanted);
};

}  // namespace vexil::app
