/// \file
/// VEXIL_API marks what leaves the shared library. Everything else stays hidden, on
/// Linux too, so that a forgotten mark shows before the first Windows build.
#pragma once

#if defined(_WIN32)
#if defined(VEXIL_BUILDING)
#define VEXIL_API __declspec(dllexport)
#else
#define VEXIL_API __declspec(dllimport)
#endif
#else
/// Put before a class or function that users of the library may name.
#define VEXIL_API __attribute__((visibility("default")))
#endif
