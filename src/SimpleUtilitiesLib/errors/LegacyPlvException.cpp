#include "LegacyPlvException.h"

#include "ExceptionDescription.h"
#include "Owners.h"
#include "Text.h"

#include <new>
#include <utility>

namespace
{
constexpr std::size_t WhatBufferBytes = 2048;
}

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

const char* LegacyPlvException::what() const noexcept
{
    const LastErrorKeeper keeper;
    try
    {
        if (whatBuffer == nullptr)
        {
            whatBuffer = std::make_unique<char[]>(WhatBufferBytes);
        }
        ToNarrow(DescribeException(*this), whatBuffer.get(), WhatBufferBytes);
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
