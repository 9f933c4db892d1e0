#include "vexil/s3/S3PartSize.h"

#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr int partsPerStep = 700;

int64 divideUp(int64 size, int64 divisor) {
    return size / divisor + (size % divisor > 0 ? 1 : 0);
}

}  // namespace

int64 choosePartSize(int64 wanted, int64 objectSize) {
    const int64 size = wanted > 0 ? wanted : defaultPartSize;
    const int64 needed = divideUp(objectSize, maxPartNumber);
    if (needed <= size) {
        return size;
    }
    if (needed > CS3Client::maxPutSize) {
        throw CError("An object of " + String::fromInt(objectSize) + " bytes needs more than " +
                     String::fromInt(maxPartNumber) + " parts.");
    }
    return divideUp(needed, mebibyte) * mebibyte;
}

CS3PutOptions addPartSize(const char* place, const CS3PutOptions& options, int64 partSize, int64 objectSize) {
    for (const auto& entry : options.metadata) {
        if (entry.first.equalsNoCase(partSizeMetadata)) {
            throw CInvalidArgError(place, "the metadata must not have the name " + String(partSizeMetadata) +
                                              ", which storesPartSize needs");
        }
    }
    CS3PutOptions result = options;
    if (objectSize > partSize) {
        result.metadata[partSizeMetadata] = String::fromInt(partSize);
    }
    return result;
}

int64 getGrowingPartSize(int64 first, int number) {
    int64 size = first;
    for (int step = (number - 1) / partsPerStep; step > 0 && size < maxMemoryPartSize; --step) {
        size = std::min(2 * size, maxMemoryPartSize);
    }
    return size;
}

}  // namespace vexil
