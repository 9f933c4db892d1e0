/// \file
/// SIGIL_API marks what the shared library exports from sigil. Everything else is hidden, on Linux too, so
/// that a missing mark is found before the next Windows build.
#pragma once

#if defined(_WIN32)
#if defined(SIGIL_BUILDING)
#define SIGIL_API __declspec(dllexport)
#else
#define SIGIL_API __declspec(dllimport)
#endif
#else
/// Stands before each class and function that users of the library may use.
#define SIGIL_API __attribute__((visibility("default")))
#endif
