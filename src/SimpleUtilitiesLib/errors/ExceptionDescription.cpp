#include "ExceptionDescription.h"

#include "ExceptionText.h"
#include "LegacyPlvException.h"
#include "SystemMessage.h"

namespace
{
std::wstring ComBlock(const LegacyPlvComException& e)
{
    return L"\n\t" +
           Format(L"COM Error HRESULT = 0x%x (%s).", e.Result(), ComErrorText(e.Result())) +
           L"\n\n";
}

std::wstring WhatBlock(const std::exception& e)
{
    const std::string what = WhatText(e);
    if (what.empty())
    {
        return NoInformation();
    }
    return Format(L"\r\n\r\n\t%S\r\n", what);
}
} // namespace

std::wstring DescribeException(const std::exception& e) noexcept
{
    if (const auto* own = dynamic_cast<const LegacyPlvException*>(&e))
    {
        return own->Description();
    }
    if (const auto* com = dynamic_cast<const LegacyPlvComException*>(&e))
    {
        return ExceptionText(
            e, [com] { return ComBlock(*com); }, NoInformation);
    }
    return ExceptionText(e, [&e] { return WhatBlock(e); });
}
