/// \file
/// For programs with failing allocations. Defines a function of wxWidgets for the whole program: include it
/// in only one source, and export the symbols of the program.
#pragma once

#include "tests/support/FailingAllocations.h"

#include <dlfcn.h>

/// Replaces wxXmlDocument::Load(), which leaks if memory runs out in it: the parser is C, and the exception
/// passes through it.
extern "C" bool loadXml(void* document, void* stream, const void* encoding,
                        int flags) asm("_ZN13wxXmlDocument4LoadER13wxInputStreamRK8wxStringi");

bool loadXml(void* document, void* stream, const void* encoding, int flags) {
    using Load = bool (*)(void*, void*, const void*, int);
    static const auto next =
        reinterpret_cast<Load>(dlsym(RTLD_NEXT, "_ZN13wxXmlDocument4LoadER13wxInputStreamRK8wxStringi"));
    vexil_test::FailingAllocations::spare(true);
    const bool isLoaded = next(document, stream, encoding, flags);
    vexil_test::FailingAllocations::spare(false);
    return isLoaded;
}
