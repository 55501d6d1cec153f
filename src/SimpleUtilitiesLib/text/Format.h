#pragma once

#include "FormatCheck.h"
#include "Text.h"

#include <string>

namespace FormatDetail
{
/// Formats by the rules of the Windows C runtime (_vsnwprintf): `%s` takes wide text, `%S` narrow
/// text, `I64` marks a 64-bit number. Returns an empty string if that fails.
std::wstring FormatUnchecked(const wchar_t* format, ...);

inline const wchar_t* Passed(const std::wstring& text)
{
    return text.c_str();
}
inline const char* Passed(const std::string& text)
{
    return text.c_str();
}
template <class Argument> auto Passed(const Argument& argument)
{
    return static_cast<std::decay_t<const Argument>>(argument);
}
} // namespace FormatDetail

/// Formats wide text; the compiler checks the arguments against the format.
template <class... Arguments>
std::wstring Format(WideFormat<Arguments...> format, const Arguments&... arguments)
{
    return FormatDetail::FormatUnchecked(format.Text(), FormatDetail::Passed(arguments)...);
}

/// The same for a narrow literal. It is widened first, so `%s` takes wide text here too.
template <class... Arguments>
std::wstring Format(NarrowFormat<Arguments...> format, const Arguments&... arguments)
{
    return FormatDetail::FormatUnchecked(FromNarrow(format.Text()).c_str(),
                                         FormatDetail::Passed(arguments)...);
}
