/// \file
/// ZET_API marks what the shared library exports from zet. Everything else is hidden, on Linux too, so that a
/// missing mark is found before the next Windows build.
#pragma once

#if defined(_WIN32)
#if defined(ZET_BUILDING)
#define ZET_API __declspec(dllexport)
#else
#define ZET_API __declspec(dllimport)
#endif
#else
/// Stands before each class and function that users of the library may use.
#define ZET_API __attribute__((visibility("default")))
#endif
