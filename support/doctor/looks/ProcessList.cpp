#include "ProcessList.h"

#include "Owners.h"

#include <tlhelp32.h>

std::vector<ProcessEntry> ListProcesses()
{
    std::vector<ProcessEntry> processes;
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = snapshot && Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry))
    {
        processes.push_back({entry.th32ProcessID, entry.th32ParentProcessID, entry.szExeFile});
    }
    return processes;
}
