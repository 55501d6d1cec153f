#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Writes 16 bytes as 36 characters, 8-4-4-4-12, in byte order. A shorter digest is padded with
/// zero bytes, a longer one is cut.
std::wstring IdentifierText(std::vector<std::uint8_t> digest);

/// The identifier of a text: the SHA-256 hash of its lower case. All zeros if hashing fails.
std::wstring HashToGuidText(const std::wstring& text);
