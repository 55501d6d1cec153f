#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Text inside the program is UTF-16. Only A to Z are folded, so that the result does not depend on
// the machine's language.

/// Widens UTF-8 up to its first zero byte. Empty for a null pointer.
std::wstring FromNarrow(const char* narrow);

/// Writes `text` as UTF-8 to `buffer` of `size` bytes, truncated to fit and zero-terminated.
void ToNarrow(const std::wstring& text, char* buffer, std::size_t size);

/// `text` in the machine's ANSI code page, with the default character for what it lacks
/// (WideCharToMultiByte).
std::string ToCodePage(const std::wstring& text);

/// `bytes` with a carriage return before every line feed.
std::string WithCarriageReturns(const std::string& bytes);

std::wstring LowerCase(std::wstring text);
std::wstring UpperCase(std::wstring text);
bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right);

std::wstring ReplaceCharacter(std::wstring text, wchar_t from, wchar_t to);

/// True for text that is empty or holds only blanks (U+0020).
bool IsEmptyOrBlank(std::wstring_view text);

/// The part of a path after its last '\', or the whole text.
std::wstring FileNameOf(const std::wstring& path);

/// The part of a path before its last '\', or nothing.
std::wstring DirectoryOf(const std::wstring& path);

/// The file name of a path without its extension: up to the last '.', or all of it.
std::wstring BaseNameOf(const std::wstring& path);
