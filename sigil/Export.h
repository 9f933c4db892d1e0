/// \file
/// SIGIL_API marks what leaves the shared library that sigil is built into. Everything else stays hidden, on
/// Linux too, so that a forgotten mark shows before the first Windows build.
#pragma once

#if defined(_WIN32)
#if defined(SIGIL_BUILDING)
#define SIGIL_API __declspec(dllexport)
#else
#define SIGIL_API __declspec(dllimport)
#endif
#else
/// Put before a class or function that users of the library may name.
#define SIGIL_API __attribute__((visibility("default")))
#endif
