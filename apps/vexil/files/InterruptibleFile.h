#pragma once

#include "zet/FileInStream.h"

namespace vexil::app {

/// A file that is read until the user interrupts the program.
class CInterruptibleFile : public zet::CFileInStream {
public:
    using zet::CFileInStream::CFileInStream;

    /// \throws also the error of CInterrupt::throwIfRequested()
    int read(void* buffer, int maxLength) override;
};

}  // namespace vexil::app
