#include "LogLine.h"

#include "Format.h"

std::wstring TimeStampText(const SYSTEMTIME& time)
{
    const unsigned hour = time.wHour % 12 == 0 ? 12U : time.wHour % 12U;
    return Format(L"%u/%u/%u %u:%02u:%02u %s", time.wMonth, time.wDay, time.wYear, hour,
                  time.wMinute, time.wSecond, time.wHour < 12 ? L"AM" : L"PM");
}

std::wstring LogLineText(const std::wstring& timeStamp, const std::wstring& moduleName,
                         DWORD processId, std::optional<DWORD> threadId,
                         const std::wstring& message)
{
    if (threadId)
    {
        return Format(L"[%s] %s(PID%u/TID%u): %s\n", timeStamp, moduleName, processId, *threadId,
                      message);
    }
    return Format(L"[%s] %s(PID%u): %s\n", timeStamp, moduleName, processId, message);
}
