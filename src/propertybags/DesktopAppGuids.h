#pragma once

// The list of desktop applications in every user's printer property bag. Neither operation reports
// anything, and no error leaves it: a hive that cannot be read or written is passed over.

/// Makes sure that every hive's bag names this version's desktop applications.
void UpdateDesktopAppGuids();

/// Takes this version's desktop applications out of every hive's bag that names them. Creates
/// nothing.
void RemoveDesktopAppGuids();
