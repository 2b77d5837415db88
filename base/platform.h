// The Windows headers as every part of the shell takes them, and the mark
// of the functions that Brindle.dll exports under their C names (for the
// front end, plug-ins and a windowed host).
#pragma once
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

// Inside the library (and its unit tests) an exported function is defined
// here; a module outside it, such as BDX.EXE, imports it.
#ifdef BDX_ENGINE
#define BD_EXPORT extern "C" __declspec(dllexport)
#else
#define BD_EXPORT extern "C" __declspec(dllimport)
#endif
