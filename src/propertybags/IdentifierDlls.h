#pragma once

/// Loads every DLL that the identifiers need, from the system's folder, before a user is
/// impersonated. One that this Windows lacks is passed over.
void LoadDllsOfIdentifiers();
