#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// An object that CS3TransferManager has stored.
struct CS3UploadResult {
    String eTag;        ///< as the service has sent it; "" if it has sent none
    int64 size = 0;     ///< bytes of the object
    int partCount = 0;  ///< 0: stored by one PUT
    /// In base64, as the service has returned it, for parts with "-" and their number; "" if it has returned
    /// none, or none was asked for (CS3PutOptions::checksum).
    String checksum = {};
};

}  // namespace vexil
