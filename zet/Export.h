/// \file
/// ZET_API marks what leaves the shared library that zet is built into. Everything else stays hidden, on
/// Linux too, so that a forgotten mark shows before the first Windows build.
#pragma once

#if defined(_WIN32)
#if defined(ZET_BUILDING)
#define ZET_API __declspec(dllexport)
#else
#define ZET_API __declspec(dllimport)
#endif
#else
/// Put before a class or function that users of the library may name.
#define ZET_API __attribute__((visibility("default")))
#endif
