#include "zet/InStream.h"
#include "zet/OutStream.h"

namespace zet {

IInStream::~IInStream() = default;

IOutStream::~IOutStream() = default;

}  // namespace zet
