// Access lists: what they give the accounts of the lab, decided as Windows's access check decides.
#pragma once

#include "WindowsHeaders.h"

#include "Accounts.h"

#include <vector>

namespace PalvoLab
{

// A self-relative security descriptor.
using Descriptor = std::vector<BYTE>;

// The generic rights of events, mutexes and files.
inline constexpr GENERIC_MAPPING kEventRights = {
    STANDARD_RIGHTS_READ | 1, STANDARD_RIGHTS_WRITE | EVENT_MODIFY_STATE,
    STANDARD_RIGHTS_EXECUTE | SYNCHRONIZE, EVENT_ALL_ACCESS};
inline constexpr GENERIC_MAPPING kMutexRights = {
    STANDARD_RIGHTS_READ | MUTEX_MODIFY_STATE, STANDARD_RIGHTS_WRITE,
    STANDARD_RIGHTS_EXECUTE | SYNCHRONIZE, MUTEX_ALL_ACCESS};
inline constexpr GENERIC_MAPPING kFileRights = {FILE_GENERIC_READ, FILE_GENERIC_WRITE,
                                                FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};

// What a text in the descriptor definition language says. Empty when it says nothing.
Descriptor ParseDescriptor(const std::wstring& text);

// Owner or list, as `what` says, in that language.
std::wstring DescriptorText(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION what);

std::wstring SidText(PSID sid);

// A descriptor's list; null when it has none.
PACL ListOf(PSECURITY_DESCRIPTOR descriptor);

// Takes `rights` off a list's denials of an account, as Windows does when it grants them.
void TakeOffDenials(PACL list, PSID account, DWORD rights);

// Puts a list in Windows's order: what denies, what allows, what is inherited.
void PutInOrder(PACL list);

// Whether an account gets all of `access`. A descriptor without a list gives everybody everything;
// an owner may always read and change the list.
bool Allows(PSECURITY_DESCRIPTOR descriptor, const Identity& identity, DWORD access,
            GENERIC_MAPPING rights);

// The owner of what an account makes: administrators own together.
std::wstring OwnerOf(const Identity& creator);

// The list that an object gets that its creator gave none: the default list of the account's
// token. SYSTEM gives administrators no more than to read and execute, others give them nothing.
std::wstring DefaultList(const Identity& creator);

} // namespace PalvoLab
