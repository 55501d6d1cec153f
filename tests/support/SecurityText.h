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

/// An access control list that is made of SDDL text, "D:(A;;GA;;;BA)" for example, and freed at the
/// end of this object's life.
class ListFromText
{
public:
    /// Throws std::runtime_error when it is no such text.
    explicit ListFromText(const std::wstring& text);
    ~ListFromText();
    ListFromText(const ListFromText&) = delete;
    ListFromText& operator=(const ListFromText&) = delete;

    [[nodiscard]] PACL List() const;
    [[nodiscard]] PSECURITY_DESCRIPTOR Descriptor() const { return descriptor; }
    /// The entries as the system writes them.
    [[nodiscard]] std::multiset<std::wstring> Entries() const;
    /// The descriptor for the caller, who frees it with LocalFree.
    PSECURITY_DESCRIPTOR Release();

private:
    PSECURITY_DESCRIPTOR descriptor = nullptr;
};
