#pragma once

/// Loads every DLL that the identifiers need from the system folder. Call it before impersonating.
/// Skips a DLL that this Windows lacks.
void LoadDllsOfIdentifiers();
