#pragma once

#include "zet/Base.h"

namespace zet {

/// Base of the entries of file systems.
class ZET_API IFileInfoBase : public virtual IBase {
public:
    /// Kind of an entry.
    enum Type : int {
        TypeUnknown = 0,    ///< another kind, or unknown
        TypeFile = 1,       ///< a regular file
        TypeDirectory = 2,  ///< a directory
    };

protected:
    ~IFileInfoBase() override;
};

}  // namespace zet
