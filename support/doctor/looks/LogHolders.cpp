#include "LogHolders.h"

#include "Format.h"
#include "WindowsHeaders.h"

#include <restartmanager.h>

#include <array>

namespace
{
/// A session of Restart Manager, ended with this object.
class RestartSession
{
public:
    RestartSession() { isOpen = RmStartSession(&handle, 0, key.data()) == ERROR_SUCCESS; }
    ~RestartSession()
    {
        if (isOpen)
        {
            RmEndSession(handle);
        }
    }
    RestartSession(const RestartSession&) = delete;
    RestartSession& operator=(const RestartSession&) = delete;

    bool Register(const std::wstring& path)
    {
        const wchar_t* file = path.c_str();
        return isOpen &&
               RmRegisterResources(handle, 1, &file, 0, nullptr, 0, nullptr) == ERROR_SUCCESS;
    }

    std::vector<RM_PROCESS_INFO> List()
    {
        std::vector<RM_PROCESS_INFO> processes(16);
        UINT needed = 0;
        auto count = static_cast<UINT>(processes.size());
        DWORD reasons = 0;
        DWORD error = RmGetList(handle, &needed, &count, processes.data(), &reasons);
        if (error == ERROR_MORE_DATA)
        {
            processes.resize(needed);
            count = needed;
            error = RmGetList(handle, &needed, &count, processes.data(), &reasons);
        }
        processes.resize(error == ERROR_SUCCESS ? count : 0);
        return processes;
    }

private:
    DWORD handle = 0;
    std::array<wchar_t, CCH_RM_SESSION_KEY + 1> key = {};
    bool isOpen = false;
};
} // namespace

std::vector<std::wstring> HoldersOf(const std::wstring& path)
{
    std::vector<std::wstring> holders;
    RestartSession session;
    if (!session.Register(path))
    {
        return holders;
    }
    for (const RM_PROCESS_INFO& process : session.List())
    {
        const std::wstring name = process.strAppName;
        // Copies of the program, and this doctor: both share it.
        if (process.Process.dwProcessId != GetCurrentProcessId() &&
            name.find(L"PalvoPrinter") == std::wstring::npos &&
            name.find(L"Palvo Printer") == std::wstring::npos)
        {
            holders.push_back(Format(L"%s (process %lu)", name, process.Process.dwProcessId));
        }
    }
    return holders;
}
