#pragma once

#include "Replaced.h"

#include <windows.h>

/// Gives the machine's ANSI code page another number for as long as it lives.
class PretendedCodePage
{
public:
    explicit PretendedCodePage(UINT number)
        : convert(
              [number](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR bytes, int size,
                       LPCCH missing, LPBOOL used)
              {
                  return decltype(convert)::Original(codePage == CP_ACP ? number : codePage, flags,
                                                     text, length, bytes, size, missing, used);
              })
    {
    }

private:
    Replaced<"KERNEL32", "WideCharToMultiByte", decltype(::WideCharToMultiByte)> convert;
};
