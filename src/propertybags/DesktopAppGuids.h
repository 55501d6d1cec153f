#pragma once

// The list of desktop applications in every user's printer property bag. Both operations skip a
// hive that cannot be read or written. They report nothing and throw nothing.

/// Adds this version's desktop applications to every hive's bag.
void UpdateDesktopAppGuids();

/// Removes this version's desktop applications from every hive's bag. Creates nothing.
void RemoveDesktopAppGuids();
