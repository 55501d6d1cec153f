// Memory that Windows hands out and the program has to give back, and COM's own start and end:
// passed through, and counted.
#include "ComDoubles.h"
#include "DoubleTable.h"

#include "CallRecord.h"
#include "LeakRecord.h"

#include <objbase.h>
#include <sddl.h>
#include <shlobj.h>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kLocal[] = L"local memory";
constexpr wchar_t kTask[] = L"task memory";
constexpr wchar_t kCom[] = L"COM initialisation";

int comDepth = 0;

const void* ComKey(int depth)
{
    return reinterpret_cast<const void*>(static_cast<std::intptr_t>(depth));
}

HLOCAL WINAPI DoubleLocalAlloc(UINT flags, SIZE_T size)
{
    Call call(L"LocalAlloc", flags, size);
    const HLOCAL memory = LocalAlloc(flags, size);
    if (memory != nullptr)
    {
        CountOpened(kLocal, memory, L"LocalAlloc");
    }
    return call.Return(memory);
}

HLOCAL WINAPI DoubleLocalFree(HLOCAL memory)
{
    Call call(L"LocalFree", memory);
    // Several functions hand out local memory; only what the lab saw is counted.
    if (memory != nullptr && IsOpen(kLocal, memory))
    {
        CountClosed(kLocal, memory);
    }
    return call.Return(LocalFree(memory));
}

BOOL WINAPI DoubleConvertSidToStringSidW(PSID sid, LPWSTR* text)
{
    Call call(L"ConvertSidToStringSidW");
    const BOOL converted = ConvertSidToStringSidW(sid, text);
    if (converted)
    {
        CountOpened(kLocal, *text, L"ConvertSidToStringSidW");
        call.Add(static_cast<LPCWSTR>(*text));
    }
    return call.Return(converted);
}

BOOL WINAPI DoubleConvertStringSidToSidW(LPCWSTR text, PSID* sid)
{
    Call call(L"ConvertStringSidToSidW", text);
    const BOOL converted = ConvertStringSidToSidW(text, sid);
    if (converted)
    {
        CountOpened(kLocal, *sid, L"ConvertStringSidToSidW");
    }
    return call.Return(converted);
}

BOOL WINAPI DoubleConvertStringSecurityDescriptorToSecurityDescriptorW(
    LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size)
{
    Call call(L"ConvertStringSecurityDescriptorToSecurityDescriptorW", text);
    const BOOL converted =
        ConvertStringSecurityDescriptorToSecurityDescriptorW(text, revision, descriptor, size);
    if (converted)
    {
        CountOpened(kLocal, *descriptor, L"ConvertStringSecurityDescriptor");
    }
    return call.Return(converted);
}

DWORD WINAPI DoubleFormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language,
                                  LPWSTR buffer, DWORD size, va_list* arguments)
{
    Call call(L"FormatMessageW", flags, message);
    const DWORD length = FormatMessageW(flags, source, message, language, buffer, size, arguments);
    if (length != 0 && (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0)
    {
        CountOpened(kLocal, *reinterpret_cast<LPWSTR*>(buffer), L"FormatMessageW");
    }
    return call.Return(length);
}

HRESULT WINAPI DoubleSHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD flags, HANDLE token,
                                          PWSTR* path)
{
    Call call(L"SHGetKnownFolderPath", flags);
    static const auto real = PALVOLAB_REAL("shell32.dll", SHGetKnownFolderPath);
    const HRESULT result = real(folder, flags, token, path);
    if (SUCCEEDED(result))
    {
        CountOpened(kTask, *path, L"SHGetKnownFolderPath");
        call.Add(static_cast<LPCWSTR>(*path));
    }
    return call.Return(result);
}

void WINAPI DoubleCoTaskMemFree(LPVOID memory)
{
    Call call(L"CoTaskMemFree", memory);
    if (memory != nullptr && IsOpen(kTask, memory))
    {
        CountClosed(kTask, memory);
    }
    static const auto real = PALVOLAB_REAL("ole32.dll", CoTaskMemFree);
    real(memory);
    call.Return(0);
}

HRESULT WINAPI DoubleCoInitializeEx(LPVOID reserved, DWORD model)
{
    Call call(L"CoInitializeEx", model);
    static const auto real = PALVOLAB_REAL("ole32.dll", CoInitializeEx);
    const HRESULT result = real(reserved, model);
    if (SUCCEEDED(result))
    {
        ++comDepth;
        CountOpened(kCom, ComKey(comDepth), L"");
    }
    return call.Return(result);
}

void WINAPI DoubleCoUninitialize()
{
    Call call(L"CoUninitialize");
    if (CountClosed(kCom, ComKey(comDepth)))
    {
        static const auto real = PALVOLAB_REAL("ole32.dll", CoUninitialize);
        --comDepth;
        if (comDepth == 0)
        {
            EndCom();
        }
        real();
    }
    call.Return(0);
}

} // namespace

void AddMemoryDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", LocalAlloc);
    PALVOLAB_DOUBLE(list, "KERNEL32", LocalFree);
    PALVOLAB_DOUBLE(list, "KERNEL32", FormatMessageW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", ConvertSidToStringSidW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", ConvertStringSidToSidW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", ConvertStringSecurityDescriptorToSecurityDescriptorW);
    PALVOLAB_DOUBLE(list, "SHELL32", SHGetKnownFolderPath);
    PALVOLAB_DOUBLE(list, "OLE32", CoTaskMemFree);
    PALVOLAB_DOUBLE(list, "OLE32", CoInitializeEx);
    PALVOLAB_DOUBLE(list, "OLE32", CoUninitialize);
}

} // namespace PalvoLab
