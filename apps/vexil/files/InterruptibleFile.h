#pragma once

#include "zet/FileInStream.h"

namespace vexil::app {

using zet::CFileInStream;

/// A file that is read until the user interrupts the program.
class CInterruptibleFile : public CFileInStream {
public:
    using CFileInStream::CFileInStream;

    /// \throws also the error of CInterrupt::throwIfRequested()
    int read(void* buffer, int maxLength) override;
};

}  // namespace vexil::app
