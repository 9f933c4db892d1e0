#pragma once

/// The base library: text, buffers, counted pointers, errors, time, streams, paths, resources, the log. It
/// does not depend on networks.
namespace zet {

/// Signed 64-bit integer. It is not `std::int64_t`, which is `long` on some systems and `long long` on
/// others, so that overloads and format strings would differ.
using int64 = long long;
/// Unsigned 64-bit integer.
using uint64 = unsigned long long;

}  // namespace zet
