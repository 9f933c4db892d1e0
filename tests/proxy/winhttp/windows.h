/// \file
/// The part of the system's header that the library's file needs, so that it can be tested without Windows.
#pragma once

#define WINAPI

using BOOL = int;
using DWORD = unsigned int;
using HGLOBAL = void*;
using LPWSTR = wchar_t*;

HGLOBAL WINAPI GlobalFree(HGLOBAL memory);
