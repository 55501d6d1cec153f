#include "LogLine.h"

#include "Format.h"

std::wstring LogLineText(const SYSTEMTIME& time, const std::wstring& moduleName, DWORD processId,
                         std::optional<DWORD> threadId, std::wstring_view message)
{
    const unsigned hour = time.wHour % 12 == 0 ? 12U : time.wHour % 12U;
    const std::wstring thread = threadId ? Format(L"/TID%u", *threadId) : std::wstring();
    std::wstring line = Format(L"[%u/%u/%u %u:%02u:%02u %s] %s(PID%u%s): ", time.wMonth, time.wDay,
                               time.wYear, hour, time.wMinute, time.wSecond,
                               time.wHour < 12 ? L"AM" : L"PM", moduleName, processId, thread);
    if (!line.empty())
    {
        message = message.substr(0, message.find(L'\0'));
        line.reserve(line.size() + message.size() + 1);
        line += message;
        line += L'\n';
    }
    return line;
}
