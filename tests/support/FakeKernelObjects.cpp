#include "FakeKernelObjects.h"

namespace
{
const std::map<std::wstring, std::wstring>& Roles()
{
    static const std::map<std::wstring, std::wstring> roles = {
        {L"Global\\{5B1F7C2A-94D3-4E6B-8A0C-3F7E2D9164B8}PPRCFGEVTCHK", L"ScanCheckMutex"},
        {L"Global\\{0C4E9A57-1D82-4F3B-B6E9-72A5D1C83F06}PalvoOrvela", L"RefreshRequestEvent"},
        {L"Global\\{D38A6F12-5E47-4C9D-81B2-9F0C6E4A27D5}PalvoOrvela", L"RefreshInstanceMutex"},
        {L"Global\\{7E29B4C1-A605-4D78-9F3E-0B6D2C8A51E4}PalvoOrvela", L"NormalRequestEvent"},
        {L"Global\\{A14D8E63-2F9B-4A07-BC51-6E3F97D0248C}PalvoOrvela", L"SpecialRequestEvent"},
        {L"Global\\{F6C02B9D-83E1-4B5A-A7D4-1C58E9F3062B}PalvoOrvela",
         L"NewOrChangedInstanceMutex"},
    };
    return roles;
}

std::wstring RoleOf(LPCWSTR name)
{
    if (name == nullptr)
    {
        return L"NO NAME";
    }
    const auto found = Roles().find(name);
    return found == Roles().end() ? name : found->second;
}

/// The log's mutex is named after a directory.
bool IsLogMutex(LPCWSTR name)
{
    return name != nullptr && std::wstring(name).find(L'/') != std::wstring::npos;
}
} // namespace

FakeKernelObjects::FakeKernelObjects(Journal& target)
    : journal(target),
      createMutex(
          [this](LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name) -> HANDLE
          {
              if (IsLogMutex(name))
              {
                  return decltype(createMutex)::Original(attributes, owned, name);
              }
              const std::wstring role = RoleOf(name);
              journal.push_back(L"CreateMutexW " + role +
                                (attributes != nullptr || owned ? L" BAD" : L""));
              return OpenMutex(role);
          }),
      createEvent(
          [this](LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL initialState,
                 LPCWSTR name) -> HANDLE
          {
              const std::wstring role = RoleOf(name);
              journal.push_back(L"CreateEventW " + role +
                                (initialState ? L" signalled" : L" not signalled") +
                                (attributes != nullptr || manual ? L" BAD" : L""));
              return OpenEvent(role, initialState != FALSE);
          }),
      setEvent(
          [this](HANDLE handle) -> BOOL
          {
              const auto found = handles.find(handle);
              if (found == handles.end())
              {
                  return decltype(setEvent)::Original(handle);
              }
              journal.push_back(L"SetEvent " + found->second.role);
              events[found->second.role] = true;
              return TRUE;
          }),
      wait(
          [this](HANDLE handle, DWORD milliseconds)
          {
              const auto found = handles.find(handle);
              return found == handles.end() ? decltype(wait)::Original(handle, milliseconds)
                                            : found->second.wait(milliseconds);
          }),
      releaseMutex(
          [this](HANDLE handle) -> BOOL
          {
              const auto found = handles.find(handle);
              if (found == handles.end())
              {
                  return decltype(releaseMutex)::Original(handle);
              }
              journal.push_back(L"ReleaseMutex " + found->second.role);
              return TRUE;
          }),
      closeHandle(
          [this](HANDLE handle) -> BOOL
          {
              const auto found = handles.find(handle);
              if (found == handles.end())
              {
                  return CloseOther(handle);
              }
              const std::function<void()> close = found->second.close;
              handles.erase(found);
              close();
              return TRUE;
          })
{
}

bool FakeKernelObjects::IsSignalled(const std::wstring& role) const
{
    const auto found = events.find(role);
    return found != events.end() && found->second;
}

HANDLE FakeKernelObjects::Add(std::function<DWORD(DWORD)> waitFor, std::function<void()> close)
{
    const auto handle = reinterpret_cast<HANDLE>(nextHandle++);
    handles[handle] = {std::move(waitFor), std::move(close), L""};
    return handle;
}

BOOL FakeKernelObjects::CloseOther(HANDLE handle)
{
    const BOOL closed = decltype(closeHandle)::Original(handle);
    if (!closed)
    {
        journal.push_back(L"CloseHandle BAD");
    }
    return closed;
}

HANDLE FakeKernelObjects::OpenMutex(const std::wstring& role)
{
    if (failing.contains(role))
    {
        return nullptr;
    }
    const HANDLE handle = Add(
        [this, role](DWORD milliseconds)
        {
            journal.push_back(L"wait " + role + L" " + std::to_wstring(milliseconds));
            const auto found = mutexWaits.find(role);
            return found == mutexWaits.end() ? DWORD{WAIT_OBJECT_0} : found->second;
        },
        [this, role] { journal.push_back(L"CloseHandle " + role); });
    handles[handle].role = role;
    return handle;
}

HANDLE FakeKernelObjects::OpenEvent(const std::wstring& role, bool initialState)
{
    if (failing.contains(role))
    {
        return nullptr;
    }
    events.try_emplace(role, initialState);
    const HANDLE handle = Add(
        [this, role](DWORD milliseconds)
        {
            const bool signalled = std::exchange(events[role], false);
            journal.push_back(L"poll " + role + L" " + std::to_wstring(milliseconds) +
                              (signalled ? L": yes" : L": no"));
            return DWORD{signalled ? WAIT_OBJECT_0 : WAIT_TIMEOUT};
        },
        [this, role] { journal.push_back(L"CloseHandle " + role); });
    handles[handle].role = role;
    return handle;
}
