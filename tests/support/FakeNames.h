#pragma once

#include "Journal.h"
#include "Replaced.h"

#define SECURITY_WIN32
#include <security.h>

#include <optional>
#include <string>
#include <vector>

/// Stands in for the calls that tell the names of the machine and of the thread's account. A name
/// that is not there makes its call fail. A journal gets one line per call, which does not tell one
/// name of the machine from another: the order in which these are asked for is nobody's matter.
class FakeNames
{
public:
    explicit FakeNames(Journal* target = nullptr);

    std::optional<std::wstring> computer = L"PC01";
    std::optional<std::wstring> samCompatible = L"CORP\\Alice";
    std::optional<std::wstring> dnsDomain = L"corp.example";
    std::optional<std::wstring> user = L"Alice";

    /// The buffer sizes that were given, in characters, in the order of the calls.
    std::vector<DWORD> sizes;

private:
    bool Give(const wchar_t* call, const std::optional<std::wstring>& name, LPWSTR buffer,
              DWORD* size);

    Journal* journal;
    Replaced<"KERNEL32", "GetComputerNameW", decltype(GetComputerNameW)> computerName;
    Replaced<"KERNEL32", "GetComputerNameExW", decltype(GetComputerNameExW)> computerNameEx;
    Replaced<"SECUR32", "GetUserNameExW", decltype(GetUserNameExW)> userNameEx;
    Replaced<"ADVAPI32", "GetUserNameW", decltype(GetUserNameW)> userName;
};
