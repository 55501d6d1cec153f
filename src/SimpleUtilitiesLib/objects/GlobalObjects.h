#pragma once

#include "Owners.h"

#include <string>
#include <string_view>

/// The name of an object in the global namespace, which all sessions share: "Global\" and `name`.
/// Empty if there is no memory; such an object cannot be created.
std::wstring MakeGlobalObjectName(std::wstring_view name) noexcept;

/// Creates or opens the mutex of a name that MakeGlobalObjectName made, without owning it
/// (CreateMutexW). Without `security` it has the default security of the account. Empty on failure.
KernelHandle CreateGlobalMutex(const std::wstring& objectName,
                               SECURITY_ATTRIBUTES* security = nullptr) noexcept;

/// All named objects of the program except the log's mutex, which is named after the log's
/// directory and has its own security. These have the default security of the account that creates
/// them. The tasks' copies run as SYSTEM and share them with each other, and with a copy of an
/// administrator or installer that created them first. If a SYSTEM copy created them, Windows
/// denies such a copy full access: it can neither post nor take a request, does nothing and ends
/// with 0.
namespace GlobalObjects
{
/// Mutex around the first scan of a printer-event run.
/// On time-out (10 minutes): scan anyway, it only reads.
/// On abandoned: the owner ended during its scan, which leaves nothing behind; go on.
inline constexpr wchar_t ScanCheckMutex[] = L"{5B1F7C2A-94D3-4E6B-8A0C-3F7E2D9164B8}PPRCFGEVTCHK";

/// Event: a refresh is requested. Created signalled, as its creator's own request; set by a
/// redundant refresh copy.
inline constexpr wchar_t RefreshRequestEvent[] =
    L"{0C4E9A57-1D82-4F3B-B6E9-72A5D1C83F06}PalvoOrvela";

/// Mutex of the copy that refreshes.
/// On time-out (at once): another copy works; leave it the request and go.
/// On abandoned: every owner leaves it so, by ending; go on.
inline constexpr wchar_t RefreshInstanceMutex[] =
    L"{D38A6F12-5E47-4C9D-81B2-9F0C6E4A27D5}PalvoOrvela";

/// Event: a printer event is to be processed.
inline constexpr wchar_t NormalRequestEvent[] =
    L"{7E29B4C1-A605-4D78-9F3E-0B6D2C8A51E4}PalvoOrvela";

/// Event: a full run is requested, by a logon, the job-management service or a person.
inline constexpr wchar_t SpecialRequestEvent[] =
    L"{A14D8E63-2F9B-4A07-BC51-6E3F97D0248C}PalvoOrvela";

/// Mutex of the copy that deals with new and changed printers.
/// On time-out (at once): another copy works; the request is posted already, so go.
/// On abandoned: the owner was killed; its requests are still posted; go on.
inline constexpr wchar_t NewOrChangedInstanceMutex[] =
    L"{F6C02B9D-83E1-4B5A-A7D4-1C58E9F3062B}PalvoOrvela";
} // namespace GlobalObjects
