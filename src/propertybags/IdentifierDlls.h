#pragma once

/// Loads the DLLs that the identifiers need, from the system's folder, before a user is
/// impersonated. One that cannot be loaded is left to its first call.
void LoadDllsOfIdentifiers();
