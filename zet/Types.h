#pragma once

namespace zet {

/// Signed 64-bit integer. `long long` rather than `std::int64_t`, which is `long` on some systems and so
/// would make overloads and format strings differ between them.
using int64 = long long;

}  // namespace zet
