#pragma once

/// The identifiers of the desktop applications that belong to this version's printers: 175 of them,
/// separated by commas. Written to the property bags as it stands.
// NOLINTNEXTLINE(readability-identifier-naming): a constant, though its text stands elsewhere
extern const char DesktopAppGuidList[6476];
