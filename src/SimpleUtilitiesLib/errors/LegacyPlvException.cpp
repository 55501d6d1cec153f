#include "LegacyPlvException.h"

#include "ExceptionText.h"

#include <new>
#include <utility>

namespace
{
constexpr std::size_t WhatBufferBytes = 2048;

std::wstring LocationBlock(const LegacyPlvException& e)
{
    std::wstring text = L" thrown from:\r\n\r\n";
    text += Format("File:\t%s\r\n", FileNameOf(e.File()));
    text += Format("Method:\t%s()\r\n", e.Method());
    text += Format("Line:\t%u\r\n", e.Line());
    if (!e.Details().empty())
    {
        text += L"\r\nDetails:\r\n\t" + e.Details() + L"\r\n";
    }
    return text;
}
} // namespace

LegacyPlvException::LegacyPlvException(std::wstring thrownDetails, std::wstring thrownFile,
                                       std::uint32_t thrownLine, std::wstring thrownMethod)
    : details(std::move(thrownDetails)),
      line(thrownLine),
      method(std::move(thrownMethod)),
      file(std::move(thrownFile))
{
}

LegacyPlvException::LegacyPlvException(const LegacyPlvException& other)
    : std::exception(other),
      details(other.details),
      line(other.line),
      method(other.method),
      file(other.file)
{
}

LegacyPlvException::~LegacyPlvException() = default;

std::wstring LegacyPlvException::Description() const noexcept
{
    return ExceptionText(
        *this, [this] { return LocationBlock(*this); }, NoInformation);
}

const char* LegacyPlvException::what() const noexcept
{
    const LastErrorKeeper keeper;
    try
    {
        if (whatBuffer == nullptr)
        {
            whatBuffer = std::make_unique<char[]>(WhatBufferBytes);
        }
        ToNarrow(Description(), whatBuffer.get(), WhatBufferBytes);
        return whatBuffer.get();
    }
    catch (...)
    {
        return "";
    }
}

void LegacyPlvException::Reserved() const noexcept {}

const char* ExceptionRegistryRequest::GetErrorId() const noexcept
{
    return "001:000";
}

const char* ExceptionNotEnoughBytesForDesiredDataType::GetErrorId() const noexcept
{
    return "003:000";
}

const char* LegacyPlvComException::what() const noexcept
{
    return "";
}
