#pragma once

#include "WindowsHeaders.h"

// Most DLLs are loaded at the first call of one of their functions, since no run needs them all.
//
// - A DLL comes from the system's folder, and so do the DLLs that it needs. The program's folder,
//   the current one and PATH are not looked in, since others may write there. Windows Vista and 7
//   without the update of 2011 (KB2533623) still look there for what a system's DLL loads later by
//   its bare name.
// - A DLL that cannot be loaded, or a function that it lacks, is a failing call of that function.
//
// An import that was replaced before its first call never gets here.

/// Loads a DLL by its full path in the system folder. `dll` is its path below that folder, with
/// extension. It stays loaded until the process ends. Null, with the reason in the last-error
/// value, on failure.
HMODULE LoadSystemDll(const char* dll) noexcept;

/// The replacement of a `function` that cannot be loaded. It takes any arguments, does nothing and
/// fails as that one does: with null or FALSE and the last-error value `error` (ERROR_MOD_NOT_FOUND
/// or ERROR_PROC_NOT_FOUND), or with `error` as it is or as an HRESULT.
FARPROC FailingFunction(const char* function, DWORD error) noexcept;
