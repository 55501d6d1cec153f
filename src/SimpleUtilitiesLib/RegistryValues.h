#pragma once

#include <cstdint>
#include <string>

// One call opens a key, reads or writes one value and closes the key. A read that fails gives the
// caller's default; only running out of memory throws (std::bad_alloc).

/// A string under HKEY_USERS.
std::wstring ReadUserString(const std::wstring& subKey, const std::wstring& name,
                            const std::wstring& defaultText);

/// Writes a string under HKEY_USERS, creating the key. False, with the reason in `errorText`, if
/// the key cannot be created. Throws ExceptionRegistryRequest if the value cannot be written.
bool WriteUserString(const std::wstring& subKey, const std::wstring& name, const std::wstring& text,
                     std::wstring& errorText);

/// A string under HKEY_LOCAL_MACHINE.
std::wstring ReadMachineString(const std::wstring& subKey, const std::wstring& name,
                               const std::wstring& defaultText);

/// A 32-bit number under HKEY_LOCAL_MACHINE: the value's first 4 bytes, whatever its type.
std::uint32_t ReadMachineNumber32(const std::wstring& subKey, const std::wstring& name,
                                  std::uint32_t defaultNumber);

/// A 64-bit number under HKEY_LOCAL_MACHINE: the value's first 8 bytes, whatever its type.
std::uint64_t ReadMachineNumber64(const std::wstring& subKey, const std::wstring& name,
                                  std::uint64_t defaultNumber);

/// Writes a REG_QWORD under HKEY_LOCAL_MACHINE, creating the key. Fails as WriteUserString.
bool WriteMachineNumber64(const std::wstring& subKey, const std::wstring& name,
                          std::uint64_t number, std::wstring& errorText);
