#include "zet/FileInfoBase.h"

namespace zet {

IFileInfoBase::~IFileInfoBase() = default;

}  // namespace zet
