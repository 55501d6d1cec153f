#pragma once

#include "WindowsHeaders.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

// These classes are in no namespace: a description begins with the class's name, as support knows
// it.

/// Base of the program's own exceptions: where it was thrown, and optional details.
class LegacyPlvException : public std::exception
{
public:
    LegacyPlvException(std::wstring thrownDetails, std::wstring thrownFile,
                       std::uint32_t thrownLine, std::wstring thrownMethod);
    /// Copies the four facts; the copy builds its own text when `what` is called.
    LegacyPlvException(const LegacyPlvException& other);
    LegacyPlvException& operator=(const LegacyPlvException&) = delete;
    ~LegacyPlvException() override;

    /// The class's name and where it was thrown, with the details if there are any. Never throws;
    /// on failure returns the text built so far.
    [[nodiscard]] std::wstring Description() const noexcept;

    /// The description as UTF-8, at most 2048 bytes with its terminating zero. Never throws and
    /// keeps the thread's last-error value. Valid as long as this object.
    const char* what() const noexcept override;

    /// A slot that other programs of the suite fill; it does nothing here.
    virtual void Reserved() const noexcept;

    /// The kind's identifier: three digits, a colon, three digits.
    virtual const char* GetErrorId() const noexcept = 0;

    [[nodiscard]] const std::wstring& Details() const noexcept { return details; }
    [[nodiscard]] std::uint32_t Line() const noexcept { return line; }
    [[nodiscard]] const std::wstring& Method() const noexcept { return method; }
    [[nodiscard]] const std::wstring& File() const noexcept { return file; }

private:
    std::wstring details;
    std::uint32_t line;
    std::wstring method;
    std::wstring file;
    mutable std::unique_ptr<char[]> whatBuffer;
};

/// A registry value could not be read or written.
class ExceptionRegistryRequest : public LegacyPlvException
{
public:
    using LegacyPlvException::LegacyPlvException;
    const char* GetErrorId() const noexcept override;
};

/// A registry value has fewer bytes than the number to read from it.
class ExceptionNotEnoughBytesForDesiredDataType : public LegacyPlvException
{
public:
    using LegacyPlvException::LegacyPlvException;
    const char* GetErrorId() const noexcept override;
};

/// A failed COM call.
class LegacyPlvComException : public std::exception
{
public:
    explicit LegacyPlvComException(HRESULT failure) noexcept : result(failure) {}
    const char* what() const noexcept override;
    [[nodiscard]] HRESULT Result() const noexcept { return result; }

private:
    HRESULT result;
};
