#pragma once

#include "Compiler.h"
#include "Format.h"
#include "Owners.h"

#include <exception>
#include <string>

/// The block of an exception that has no other.
inline std::wstring NoInformation()
{
    return L"\r\n\r\n\tNo additional information available.\r\n";
}

/// The text of an exception: a line with its class, and the first of `blocks` that is not empty and
/// can be built. Never throws; on failure returns the text built so far. Keeps the last-error
/// value.
template <class... Blocks>
std::wstring ExceptionText(const std::exception& e, Blocks... blocks) noexcept
{
    const LastErrorKeeper keeper;
    std::wstring text;
    // False if what is built is empty or fails.
    const auto append = [&text](auto build) noexcept
    {
        try
        {
            const std::wstring built = build();
            text += built;
            return !built.empty();
        }
        catch (...)
        {
            return false;
        }
    };
    const auto classLine = [&e]
    {
        const std::string name = ClassName(typeid(e));
        return name.empty() ? std::wstring() : Format(L"Object of %S", name);
    };
    if (!append(classLine))
    {
        append([] { return L"Object of std::exception"; });
    }
    static_cast<void>((append(blocks) || ...));
    return text;
}
