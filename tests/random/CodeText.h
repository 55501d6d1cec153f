#pragma once

#include <string>
#include <string_view>
#include <vector>

// Values as C++ code, to be pasted into a unit test.

/// `L"..."`, with long runs of one character as `std::wstring(count, L'x')`.
std::string CodeText(std::wstring_view text);

/// The same for bytes.
std::string CodeText(std::string_view bytes);

/// `{L"...", L"..."}`
std::string CodeText(const std::vector<std::wstring>& texts);
