#include "zet/Buffer.h"

#include "zet/InvalidArgError.h"

namespace zet {

void throwBufferTooLarge() {
    throw CError("A buffer cannot hold more than 2147483647 elements.");
}

void throwNegativeBufferSize(const char* member) {
    throw CInvalidArgError(String("TBuffer::") + member, "size is negative");
}

}  // namespace zet
