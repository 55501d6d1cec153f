// Making processes in spite of Wine.
#pragma once

#include "WindowsHeaders.h"

namespace PalvoLab
{

// CreateProcessW, which takes these arguments. On a busy machine Wine now and then loses a new
// process before its first instruction, and says so by ERROR_INTERNAL_ERROR, as Windows never does;
// then it is tried again.
template <typename... Arguments> BOOL CreateProcessUnderWine(Arguments... arguments)
{
    for (int attempt = 1; attempt < 5; ++attempt)
    {
        if (CreateProcessW(arguments...))
        {
            return TRUE;
        }
        if (GetLastError() != ERROR_INTERNAL_ERROR)
        {
            return FALSE;
        }
        Sleep(100);
    }
    return CreateProcessW(arguments...);
}

} // namespace PalvoLab
