#pragma once

#include <string>

/// The domain of a name such as DOMAIN\user: the text before the first '\'. A name without one, or
/// that begins with it, is used whole.
std::wstring DomainPart(const std::wstring& samCompatibleName);

/// The machine's name in an identifier's source text: lower-case computer name, ".", the domain of
/// the account that runs the thread, ".", the computer's DNS domain. What cannot be had is empty.
std::wstring GetMachineNameText();
