#pragma once

#include <windows.h>

#include <set>
#include <string>

/// An access control list, a descriptor's DACL and the single entries of either as SDDL text, which
/// is what tests compare. "NO LIST" and "NO DESCRIPTOR" when there is none.
std::wstring SecurityText(PSECURITY_DESCRIPTOR descriptor);
std::wstring SecurityText(PACL list);

/// The entries of such a text, "(A;;GA;;;BA)" and so on; their order is the system's.
std::multiset<std::wstring> EntriesOf(const std::wstring& securityText);
