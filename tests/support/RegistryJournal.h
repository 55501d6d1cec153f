#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <functional>

/// Writes "set NAME=CONTENT" into a journal for every REG_SZ and REG_QWORD that the program writes,
/// with " as WHO" at the end when there is a `who`.
class RegistryJournal
{
public:
    explicit RegistryJournal(Journal& target, std::function<std::wstring()> who = nullptr);

private:
    Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)> setValue;
};
