#include "Text.h"

#include "CharacterSearch.h"
#include "WindowsHeaders.h"

#include <algorithm>
#include <cstring>

namespace
{
wchar_t LowerLetter(wchar_t c)
{
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

wchar_t UpperLetter(wchar_t c)
{
    return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

/// Empty if the text cannot be converted.
std::string Narrowed(const std::wstring& text, UINT codePage, DWORD flags)
{
    // No code page needs more bytes for a character.
    std::string narrow(4 * text.size(), '\0');
    const int length =
        WideCharToMultiByte(codePage, flags, text.data(), static_cast<int>(text.size()),
                            narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(std::max(length, 0)));
    return narrow;
}

bool IsAscii(wchar_t c)
{
    return c < 0x80;
}

/// ASCII, with a question mark for every other character.
std::string AsciiOf(const std::wstring& text)
{
    std::string ascii(text.size(), '\0');
    std::transform(text.begin(), text.end(), ascii.begin(),
                   [](wchar_t c) { return IsAscii(c) ? static_cast<char>(c) : '?'; });
    return ascii;
}
} // namespace

std::wstring FromNarrow(const char* narrow)
{
    if (narrow == nullptr || *narrow == '\0')
    {
        return {};
    }
    const int length = static_cast<int>(std::strlen(narrow));
    const int size = MultiByteToWideChar(CP_UTF8, 0, narrow, length, nullptr, 0);
    if (size <= 0)
    {
        return {};
    }
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, narrow, length, wide.data(), size)));
    return wide;
}

void ToNarrow(const std::wstring& text, char* buffer, std::size_t size)
{
    if (size == 0)
    {
        return;
    }
    const std::string narrow = Narrowed(text, CP_UTF8, 0);
    const std::size_t kept = std::min(narrow.size(), size - 1);
    std::memcpy(buffer, narrow.data(), kept);
    buffer[kept] = '\0';
}

std::string ToCodePage(const std::wstring& text)
{
    if (std::all_of(text.begin(), text.end(), IsAscii))
    {
        return AsciiOf(text); // which is the same in every code page of Windows
    }
    // Without this flag a similar character may replace one that the code page lacks. UTF-8 as ANSI
    // code page lacks none and refuses the flag.
    std::string narrow = Narrowed(text, CP_ACP, WC_NO_BEST_FIT_CHARS);
    if (narrow.empty())
    {
        narrow = Narrowed(text, CP_ACP, 0);
    }
    // Never lose a line of the log because of its characters.
    return narrow.empty() ? AsciiOf(text) : narrow;
}

std::string WithCarriageReturns(const std::string& bytes)
{
    std::string text;
    text.reserve(bytes.size() + static_cast<std::size_t>(std::ranges::count(bytes, '\n')));
    std::string_view rest = bytes;
    for (;;)
    {
        const std::size_t lineFeed = FindCharacter(rest, '\n');
        text += rest.substr(0, lineFeed);
        if (lineFeed == rest.size())
        {
            return text;
        }
        text += "\r\n";
        rest.remove_prefix(lineFeed + 1);
    }
}

std::wstring LowerCase(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), LowerLetter);
    return text;
}

std::wstring UpperCase(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), UpperLetter);
    return text;
}

bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return LowerLetter(a) == LowerLetter(b); });
}

std::wstring ReplaceCharacter(std::wstring text, wchar_t from, wchar_t to)
{
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

bool IsEmptyOrBlank(std::wstring_view text)
{
    return text.find_first_not_of(L' ') == std::wstring_view::npos;
}

std::wstring FileNameOf(const std::wstring& path)
{
    return path.substr(path.rfind(L'\\') + 1); // without one, npos + 1 is 0
}

std::wstring DirectoryOf(const std::wstring& path)
{
    const std::size_t backslash = path.rfind(L'\\');
    return backslash == std::wstring::npos ? std::wstring() : path.substr(0, backslash);
}

std::wstring BaseNameOf(const std::wstring& path)
{
    const std::wstring name = FileNameOf(path);
    return name.substr(0, name.rfind(L'.'));
}
