#include "FaultPlan.h"

#include "LabState.h"
#include "Text.h"

#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kFaultKey[] = L"Faults";

const std::map<std::string, FailureStyle>& StyleTable()
{
    using enum FailureStyle;
    static const std::map<std::string, FailureStyle> table = {
        {"CreateFileA", InvalidHandle},
        {"CreateFileW", InvalidHandle},
        {"CreateToolhelp32Snapshot", InvalidHandle},
        {"FindFirstFileExW", InvalidHandle},
        {"FindFirstFileW", InvalidHandle},
        {"GetStdHandle", InvalidHandle},
        {"GetFileAttributesW", AllOnesAndLastError},
        {"GetFileSize", AllOnesAndLastError},
        {"GetMessageW", AllOnesAndLastError},
        {"MsgWaitForMultipleObjects", AllOnesAndLastError},
        {"MsgWaitForMultipleObjectsEx", AllOnesAndLastError},
        {"ResumeThread", AllOnesAndLastError},
        {"SetFilePointer", AllOnesAndLastError},
        {"SuspendThread", AllOnesAndLastError},
        {"TlsAlloc", AllOnesAndLastError},
        {"WaitForMultipleObjects", AllOnesAndLastError},
        {"WaitForMultipleObjectsEx", AllOnesAndLastError},
        {"WaitForSingleObject", AllOnesAndLastError},
        {"WaitForSingleObjectEx", AllOnesAndLastError},
        {"GetNamedSecurityInfoW", ReturnsError},
        {"GetSecurityInfo", ReturnsError},
        {"SetEntriesInAclW", ReturnsError},
        {"SetNamedSecurityInfoW", ReturnsError},
        {"SetSecurityInfo", ReturnsError},
        {"AssignProcessToJobObject", ZeroAndLastError},
        {"CLSIDFromString", ReturnsResult},
        {"InstallPrinterDriverFromPackageW", ReturnsResult},
        {"SHGetFolderPathW", ReturnsResult},
        {"SHGetKnownFolderPath", ReturnsResult},
        {"StringFromCLSID", ReturnsResult},
        {"VariantChangeType", ReturnsResult},
        {"VariantChangeTypeEx", ReturnsResult},
        {"VariantClear", ReturnsResult},
        {"VariantCopy", ReturnsResult},
        {"CoTaskMemAlloc", CrtZero},
        {"SysAllocString", CrtZero},
        {"SysAllocStringByteLen", CrtZero},
        {"SysAllocStringLen", CrtZero},
        {"calloc", CrtZero},
        {"fgets", CrtZero},
        {"fgetws", CrtZero},
        {"fopen", CrtZero},
        {"fread", CrtZero},
        {"fwrite", CrtZero},
        {"malloc", CrtZero},
        {"realloc", CrtZero},
        {"_wfopen", CrtZero},
        {"_wfsopen", CrtZero},
        {"_fsopen", CrtZero},
        {"_fileno", CrtMinusOne},
        {"_fseeki64", CrtMinusOne},
        {"_ftelli64", CrtMinusOne},
        {"_setmode", CrtMinusOne},
        {"_snwprintf", CrtMinusOne},
        {"_vscwprintf", CrtMinusOne},
        {"_vsnwprintf", CrtMinusOne},
        {"_wremove", CrtMinusOne},
        {"_wrename", CrtMinusOne},
        {"_wunlink", CrtMinusOne},
        {"fclose", CrtMinusOne},
        {"fflush", CrtMinusOne},
        {"fprintf", CrtMinusOne},
        {"fputs", CrtMinusOne},
        {"fputws", CrtMinusOne},
        {"fseek", CrtMinusOne},
        {"ftell", CrtMinusOne},
        {"fwprintf", CrtMinusOne},
        {"vfprintf", CrtMinusOne},
        {"CoTaskMemFree", CannotFail},
        {"CoUninitialize", CannotFail},
        {"DeleteCriticalSection", CannotFail},
        {"EnterCriticalSection", CannotFail},
        {"ExitProcess", CannotFail},
        {"FreeSid", CannotFail},
        {"GetCurrentProcess", CannotFail},
        {"GetCurrentProcessId", CannotFail},
        {"GetCurrentThread", CannotFail},
        {"GetCurrentThreadId", CannotFail},
        {"GetLastError", CannotFail},
        {"GetLocalTime", CannotFail},
        {"GetSystemTime", CannotFail},
        {"GetSystemTimeAsFileTime", CannotFail},
        {"GetTickCount", CannotFail},
        {"InitializeCriticalSection", CannotFail},
        {"LeaveCriticalSection", CannotFail},
        {"PostQuitMessage", CannotFail},
        {"RtlCaptureContext", CannotFail},
        {"SetLastError", CannotFail},
        {"SetUnhandledExceptionFilter", CannotFail},
        {"Sleep", CannotFail},
        {"SysFreeString", CannotFail},
        {"VariantInit", CannotFail},
        {"WTSFreeMemory", CannotFail},
        {"free", CannotFail},
    };
    return table;
}

// Only those whose doubles know of it: "bytes=N" or "wrong-type".
std::optional<OddRead> ParseOddRead(const std::string& function, const std::wstring& error)
{
    if (error == L"wrong-type" && (function == "RegQueryValueExW" || function == "EvtRender" ||
                                   function == "IWbemClassObject::Get"))
    {
        return OddRead{true, 0};
    }
    constexpr std::wstring_view prefix = L"bytes=";
    if (error.starts_with(prefix) && (function == "RegQueryValueExW" || function == "ReadFile"))
    {
        const auto bytes = ParseNumber(error.substr(prefix.size()));
        return bytes ? std::optional(OddRead{false, static_cast<std::uint32_t>(*bytes)})
                     : std::nullopt;
    }
    return std::nullopt;
}

bool StartsWith(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

std::uint64_t FailingResult(FailureStyle style, std::uint64_t error)
{
    switch (style)
    {
    case FailureStyle::InvalidHandle:
        return ~std::uint64_t{0};
    case FailureStyle::AllOnesAndLastError:
    case FailureStyle::CrtMinusOne:
        return 0xFFFFFFFFU;
    case FailureStyle::ReturnsError:
        return error;
    case FailureStyle::ReturnsResult:
        // A plain Windows error becomes the HRESULT that carries it.
        return error < 0x10000 ? 0x80070000U | error : error;
    default:
        return 0;
    }
}

} // namespace

FailureStyle StyleOf(const std::string& function)
{
    const auto entry = StyleTable().find(function);
    if (entry != StyleTable().end())
    {
        return entry->second;
    }
    if (StartsWith(function, "Reg") && function != "RegisterEventSourceW")
    {
        return FailureStyle::ReturnsError;
    }
    // Every method fails as COM's own functions do.
    if (function.find("::") != std::string::npos)
    {
        return FailureStyle::ReturnsResult;
    }
    if (StartsWith(function, "Co") && function.size() > 2 && function[2] >= 'A' &&
        function[2] <= 'Z')
    {
        return FailureStyle::ReturnsResult;
    }
    return FailureStyle::ZeroAndLastError;
}

std::optional<FaultAction> ParseFault(const std::string& function, const std::wstring& error)
{
    FaultAction action;
    if (error == L"kill")
    {
        action.kill = true;
        return action;
    }
    action.read = ParseOddRead(function, error);
    if (action.read)
    {
        return action;
    }
    if (const auto code = ParseNumber(error))
    {
        const FailureStyle style = StyleOf(function);
        if (style == FailureStyle::CannotFail || *code > 0xFFFFFFFFU)
        {
            return std::nullopt;
        }
        action.result = FailingResult(style, *code);
        action.lastError = static_cast<std::uint32_t>(*code);
        if (style == FailureStyle::CrtZero || style == FailureStyle::CrtMinusOne)
        {
            action.errorNumber = static_cast<int>(*code);
        }
        return action;
    }
    bool hasResult = false;
    for (const std::wstring& part : Split(error, L','))
    {
        const std::size_t equal = part.find(L'=');
        const std::wstring name = part.substr(0, equal);
        const auto value =
            equal == std::wstring::npos ? std::nullopt : ParseNumber(part.substr(equal + 1));
        if (!value)
        {
            return std::nullopt;
        }
        if (name == L"return")
        {
            action.result = *value;
            hasResult = true;
        }
        else if (name == L"error")
        {
            action.lastError = static_cast<std::uint32_t>(*value);
        }
        else if (name == L"errno")
        {
            action.errorNumber = static_cast<int>(*value);
        }
        else
        {
            return std::nullopt;
        }
    }
    return hasResult ? std::optional(action) : std::nullopt;
}

std::vector<Fault> LoadFaults()
{
    std::vector<Fault> faults;
    const auto add = [&faults](const std::wstring& text)
    {
        const std::vector<std::wstring> parts = Split(text, L' ');
        const auto nth = parts.size() < 3 ? std::nullopt : ParseNumber(parts[1]);
        if (nth)
        {
            faults.push_back({parts[0], static_cast<std::uint32_t>(*nth), parts[2],
                              parts.size() > 3 && parts[3] == L"always"});
        }
    };
    const LabKey key = OpenStateKey(kFaultKey);
    if (key)
    {
        for (const std::wstring& name : key.ValueNames())
        {
            add(name + L" " + key.String(name).value_or(L""));
        }
    }
    wchar_t own[512] = {};
    const std::uint32_t length = GetEnvironmentVariableW(kFaultVariable, own, 512);
    if (length > 0 && length < 512)
    {
        for (const std::wstring& text : Split(own, L';'))
        {
            add(text);
        }
    }
    return faults;
}

void AddFault(const Fault& fault)
{
    CreateStateKey(kFaultKey).SetString(fault.function + L" " + std::to_wstring(fault.nth),
                                        fault.error + (fault.always ? L" always" : L" once"));
}

void ClearFaults()
{
    RemoveStateKey(kFaultKey);
}

} // namespace PalvoLab
