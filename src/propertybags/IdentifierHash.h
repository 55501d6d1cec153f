#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Writes 16 bytes as 36 characters, 8-4-4-4-12, in the order of the bytes. A shorter digest is
/// filled up with zero bytes, a longer one is cut.
std::wstring IdentifierText(std::vector<std::uint8_t> digest);

/// The identifier of a text: its SHA-256 hash, whatever the case of its letters. The identifier of
/// zeros when the system cannot hash.
std::wstring HashToGuidText(const std::wstring& text);
