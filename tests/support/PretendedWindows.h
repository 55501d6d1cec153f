#pragma once

#include "Replaced.h"

#include <windows.h>

#include <vector>

/// Stands in for the question which version of Windows this is. Answers as that version does, and
/// keeps what it was asked.
class PretendedWindows
{
public:
    PretendedWindows(DWORD pretendedMajor, DWORD pretendedMinor)
        : major(pretendedMajor),
          minor(pretendedMinor),
          verify(
              [this](LPOSVERSIONINFOEXW wanted, DWORD fields, DWORDLONG conditions)
              {
                  questions.push_back({*wanted, fields, conditions});
                  return major > wanted->dwMajorVersion || (major == wanted->dwMajorVersion &&
                                                            minor >= wanted->dwMinorVersion)
                             ? TRUE
                             : FALSE;
              })
    {
    }

    struct Question
    {
        OSVERSIONINFOEXW wanted;
        DWORD fields;
        DWORDLONG conditions;
    };
    std::vector<Question> questions;
    DWORD major;
    DWORD minor;

private:
    Replaced<"KERNEL32", "VerifyVersionInfoW", decltype(::VerifyVersionInfoW)> verify;
};

/// How a field of a version question is compared: the three bits which the condition mask has for
/// it.
inline unsigned ConditionOf(DWORDLONG conditions, DWORD field)
{
    unsigned shift = 0;
    for (; field > 1; field >>= 1)
    {
        shift += 3;
    }
    return static_cast<unsigned>((conditions >> shift) & 7U);
}
