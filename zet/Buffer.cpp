#include "zet/Buffer.h"

#include "zet/Error.h"

namespace zet {

void throwBufferTooLarge() {
    throw CError("A buffer cannot hold more than 2147483647 elements.");
}

}  // namespace zet
