#include "WholeFile.h"

#include "ProperFile.h"

namespace
{
constexpr int Trials = 10;
constexpr DWORD BetweenTrials = 100; // milliseconds

/// With drive and folder; empty on failure.
std::wstring FullPath(const std::wstring& path)
{
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    full.resize(length < full.size() ? length : 0);
    return full;
}

/// The thread's last error; never 0.
DWORD Failure()
{
    return GetLastError() == ERROR_SUCCESS ? ERROR_CANT_ACCESS_FILE : GetLastError();
}

DWORD Write(const std::wstring& path, const std::string& bytes)
{
    SetLastError(ERROR_SUCCESS);
    const FileHandle file = CreateProperFile(path, GENERIC_WRITE, 0);
    DWORD written = 0;
    return file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                             nullptr)
               ? 0
               : Failure();
}

/// What is at `path` is replaced, a link itself and not where it leads.
DWORD Replace(const std::wstring& draft, const std::wstring& path)
{
    for (int trial = 1; !MoveFileExW(draft.c_str(), path.c_str(),
                                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
         ++trial)
    {
        const DWORD error = Failure();
        if (trial == Trials || (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED))
        {
            return error;
        }
        Sleep(BetweenTrials);
    }
    return 0;
}
} // namespace

DWORD WriteWholeFile(const std::wstring& path, const std::string& bytes)
{
    const std::wstring full = FullPath(path);
    const std::wstring draft = full + L".new";
    DeleteName(draft); // that of a doctor that was ended
    DWORD error = Write(draft, bytes);
    if (error == 0)
    {
        error = Replace(draft, full);
    }
    if (error != 0)
    {
        DeleteName(draft);
    }
    return error;
}
