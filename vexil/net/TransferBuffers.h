#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

class CNetRequest;

/// Sizes of the buffers of a transfer, in bytes.
///
/// Larger ones cost memory for each running transfer and save processor time with large bodies:
/// docs/performance.md. A sink still gets at most 16 KiB at once.
struct CTransferBuffers {
    int receive = 16'384;  ///< 1,024 to 2 MiB (CURLOPT_BUFFERSIZE)
    int send = 65'536;     ///< 16 KiB to 2 MiB (CURLOPT_UPLOAD_BUFFERSIZE)
};

/// Sets the sizes of the buffers for the next transfers of a request, until it is reset. Without a call the
/// sizes are the defaults of CTransferBuffers, which are those of libcurl. Call it in an INetRequestSetup for
/// all requests of a client.
///
/// Thread safety: as a setter of the request.
/// \throws CInvalidArgError for sizes outside of the ranges
VEXIL_API void setTransferBuffers(CNetRequest& request, const CTransferBuffers& sizes);

}  // namespace vexil
