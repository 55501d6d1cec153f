#pragma once

#include <windows.h>

/// The function `name` of the C runtime that this program runs on.
template <class Function> Function* CRuntimeFunction(const char* name)
{
#ifdef _MSC_VER
    const HMODULE runtime = GetModuleHandleW(L"ucrtbase");
#else
    const HMODULE runtime = GetModuleHandleW(L"msvcrt");
#endif
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(runtime, name)));
}
