#pragma once

#include <string>

/// The domain of a name such as DOMAIN\user: the text before the first '\'. The whole name if it
/// has none or begins with it.
std::wstring DomainPart(const std::wstring& samCompatibleName);

/// The machine's name in an identifier's source text: lower-case computer name, ".", the domain of
/// the thread's account, ".", the computer's DNS domain. Unknown parts are empty.
std::wstring GetMachineNameText();
