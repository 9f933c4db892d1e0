#pragma once

/// The base library: text, buffers, counted pointers, errors, time, streams, paths, resources, the log. It
/// knows nothing of networks.
namespace zet {

/// Signed 64-bit integer. `long long` rather than `std::int64_t`, which is `long` on some systems and so
/// would make overloads and format strings differ between them.
using int64 = long long;
/// Unsigned 64-bit integer, likewise.
using uint64 = unsigned long long;

}  // namespace zet
