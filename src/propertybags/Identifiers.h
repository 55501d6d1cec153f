#pragma once

#include <string>

/// An identifier and the text that it was made from, in lower case (A to Z).
struct Identifier
{
    std::wstring id;
    std::wstring sourceText;
};

// Both run in the caller's security context. Failures are not reported: what is unknown is an empty
// part of the source text.

/// Identifies an account on this machine. An empty name means the thread's account.
Identifier ComputeUserId(const std::wstring& accountName);

/// Identifies this machine.
Identifier ComputeDeviceId();

/// The domain of a name such as DOMAIN\user: the text before the first '\'. The whole name if it
/// has none or begins with it.
std::wstring DomainPart(const std::wstring& samCompatibleName);

/// The machine's name in an identifier's source text: lower-case computer name, ".", the domain of
/// the thread's account, ".", the computer's DNS domain. Unknown parts are empty.
std::wstring GetMachineNameText();

/// Loads every DLL that the identifiers need from the system folder. Call it before impersonating.
/// Skips a DLL that this Windows lacks.
void LoadDllsOfIdentifiers();
