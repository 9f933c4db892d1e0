/// \file
/// The names in the lines of an index. docs/index-format.md describes them for other programs.
#pragma once

#include <cstddef>

namespace vexil::app::index_format {

inline constexpr int version = 1;
// In bytes: more than any path and target of a link need, if each byte is an escape sequence.
inline constexpr std::size_t maxLineLength = 256 * 1024;

// The first line.
inline constexpr const char* versionField = "vexil_index";
// The last line: the number of the entries between them.
inline constexpr const char* countField = "entries";

// An entry.
inline constexpr const char* path = "path";
inline constexpr const char* kind = "type";
inline constexpr const char* size = "size";
inline constexpr const char* time = "mtime";
inline constexpr const char* mode = "mode";
inline constexpr const char* user = "uid";
inline constexpr const char* group = "gid";
inline constexpr const char* target = "target";
inline constexpr const char* eTag = "etag";
inline constexpr const char* isUnsettled = "unsettled";
// After a name: the bytes of the value, which are not UTF-8, as hexadecimal digits.
inline constexpr const char* bytesSuffix = "_bytes";

inline constexpr const char* file = "file";
inline constexpr const char* folder = "folder";
inline constexpr const char* link = "link";

}  // namespace vexil::app::index_format
