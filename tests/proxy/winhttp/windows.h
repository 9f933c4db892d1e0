/// \file
/// As much of the system's header as the library's file needs, so that what it does runs where there is no Windows.
#pragma once

#define WINAPI

using BOOL = int;
using DWORD = unsigned int;
using HGLOBAL = void*;
using LPWSTR = wchar_t*;

HGLOBAL WINAPI GlobalFree(HGLOBAL memory);
