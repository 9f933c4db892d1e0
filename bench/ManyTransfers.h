#pragma once

#include "bench/BenchMain.h"

#include <map>
#include <string>

namespace bench {

/// The workloads through the library with many requests at once, and what such requests need.
std::map<std::string, Workload> makeManyTransferWorkloads();

}  // namespace bench
