#pragma once

#include "zet/Base.h"

namespace zet {

/// What entries of file systems have in common.
class ZET_API IFileInfoBase : public virtual IBase {
public:
    /// Kind of an entry.
    enum Type : int {
        TypeUnknown = 0,    ///< something else, or not known
        TypeFile = 1,       ///< a regular file
        TypeDirectory = 2,  ///< a directory
    };

protected:
    ~IFileInfoBase() override;
};

}  // namespace zet
