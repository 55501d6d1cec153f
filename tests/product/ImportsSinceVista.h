#pragma once

/// Functions of one DLL.
struct DllFunctions
{
    const char* dll;       ///< in upper case
    const char* functions; ///< between blanks
};

/// What the program may import: functions that Windows Vista has and every later Windows. Before a
/// function is added here, the system's documentation is asked since when it exists. Some are
/// imported by the builds that count or check alone.
inline constexpr DllFunctions ImportsSinceVista[] = {
    {"ADVAPI32.DLL",
     "AddAce BuildExplicitAccessWithNameW CheckTokenMembership ConvertSidToStringSidW "
     "ConvertStringSecurityDescriptorToSecurityDescriptorW ConvertStringSidToSidW "
     "CreateProcessAsUserW CreateWellKnownSid "
     "CryptAcquireContextW CryptCreateHash CryptDestroyHash "
     "CryptGetHashParam CryptHashData CryptReleaseContext DuplicateTokenEx EqualSid "
     "GetAce GetAclInformation GetLengthSid GetSecurityInfo GetTokenInformation GetUserNameW "
     "ImpersonateLoggedOnUser InitializeAcl InitializeSecurityDescriptor "
     "IsValidSecurityDescriptor LogonUserW LookupAccountNameW LookupAccountSidW "
     "MakeAbsoluteSD RegCloseKey RegCreateKeyExW RegEnumKeyExW RegOpenKeyExW "
     "RegQueryInfoKeyW RegQueryValueExW RegSetValueExW RevertToSelf SetEntriesInAclW "
     "SetSecurityDescriptorDacl SetSecurityDescriptorSacl SetSecurityInfo "
     "SetThreadToken"},
    {"KERNEL32.DLL",
     "__C_specific_handler CloseHandle CompareStringOrdinal CreateDirectoryW CreateEventW "
     "CreateFileW CreateMutexW CreateProcessW CreateSemaphoreW DeleteCriticalSection "
     "EnterCriticalSection ExitProcess FormatMessageA FormatMessageW FreeLibrary "
     "GetComputerNameExW GetComputerNameW GetCurrentProcessId GetCurrentThreadId "
     "GetExitCodeProcess GetFileInformationByHandle GetFileInformationByHandleEx "
     "GetFileSizeEx GetFinalPathNameByHandleW "
     "GetLastError GetLocalTime "
     "GetModuleFileNameW "
     "GetModuleHandleW GetPrivateProfileStringW GetProcAddress GetStartupInfoW "
     "GetSystemDirectoryA GetSystemTimeAsFileTime GetThreadId InitializeConditionVariable "
     "InitializeCriticalSection IsDBCSLeadByteEx LCMapStringEx "
     "LeaveCriticalSection LoadLibraryA LoadLibraryExA LoadLibraryW LocalAlloc LocalFree "
     "MultiByteToWideChar ProcessIdToSessionId QueryPerformanceCounter RaiseException ReadFile "
     "ReleaseMutex "
     "ReleaseSemaphore RtlCaptureContext RtlLookupFunctionEntry RtlUnwindEx "
     "RtlVirtualUnwind SetEndOfFile SetEvent SetFileInformationByHandle SetFilePointerEx "
     "SetLastError "
     "SetUnhandledExceptionFilter Sleep SleepConditionVariableCS TlsAlloc TlsFree TlsGetValue "
     "TlsSetValue TryEnterCriticalSection "
     "VerifyVersionInfoW VerSetConditionMask VirtualProtect VirtualQuery "
     "WaitForSingleObject WakeAllConditionVariable WakeConditionVariable WideCharToMultiByte "
     "WriteFile"},
    {"MSVCRT.DLL",
     "___lc_codepage_func ___mb_cur_max_func __iob_func __set_app_type "
     "__setusermatherr __wgetmainargs __winitenv _access _amsg_exit _assert _cexit "
     "_close _commode _errno _exit _fdopen _fmode _getpid _initterm _lock _locking "
     "_mkdir _onexit _open _read _time64 _unlock _vscwprintf _vsnwprintf _wcmdln "
     "_write abort atoi calloc exit fclose fflush fopen fprintf fputc fputs fread free "
     "fseek fwrite getenv isspace iswspace localeconv malloc memchr memcmp memcpy "
     "memmove memset realloc signal sprintf strcat strchr strcmp strerror strlen "
     "strncmp strstr strtoul vfprintf wcslen"},
    {"OLE32.DLL", "CoCreateInstance CoInitializeEx CoInitializeSecurity CoSetProxyBlanket "
                  "CoTaskMemFree CoUninitialize"},
    {"OLEAUT32.DLL", "SysAllocString SysFreeString VariantChangeType VariantClear VariantInit"},
    {"SECUR32.DLL", "GetUserNameExW"},
    {"SHELL32.DLL", "SHGetKnownFolderPath"},
    {"USER32.DLL", "DispatchMessageW GetMessageW GetProcessWindowStation GetUserObjectInformationW "
                   "MessageBoxW PeekMessageW PostQuitMessage TranslateMessage"},
    {"USERENV.DLL", "CreateEnvironmentBlock DestroyEnvironmentBlock UnloadUserProfile"},
    {"WEVTAPI.DLL",
     "EvtClose EvtCreateRenderContext EvtNext EvtOpenChannelConfig EvtQuery EvtRender "
     "EvtSaveChannelConfig EvtSetChannelConfigProperty"},
    {"WINSPOOL.DRV",
     "ClosePrinter GetPrinterDriverW InstallPrinterDriverFromPackageW OpenPrinterW"},
    {"WTSAPI32.DLL", "WTSEnumerateSessionsW WTSFreeMemory WTSQueryUserToken WTSSendMessageW"}};

/// What the doctor may import beside that.
inline constexpr DllFunctions DoctorImportsSinceVista[] = {
    {"ADVAPI32.DLL", "GetNamedSecurityInfoW OpenProcessToken"},
    {"KERNEL32.DLL",
     "CreateToolhelp32Snapshot FileTimeToDosDateTime FileTimeToSystemTime GetACP "
     "GetCurrentProcess GetDiskFreeSpaceExW GetFileAttributesExW GetFileAttributesW "
     "GetFullPathNameW GetProcessTimes GetSystemDirectoryW GetSystemTime GetTickCount64 "
     "MoveFileExW OpenMutexW OpenProcess Process32FirstW Process32NextW "
     "SystemTimeToFileTime"},
    {"MSVCRT.DLL", "fgetwc iswctype towlower ungetwc wcstol wcstoul"},
    {"OLEAUT32.DLL", "VariantTimeToSystemTime"},
    {"RSTRTMGR.DLL", "RmEndSession RmGetList RmRegisterResources RmStartSession"},
    {"VERSION.DLL", "GetFileVersionInfoSizeW GetFileVersionInfoW VerQueryValueW"},
    {"WEVTAPI.DLL", "EvtGetChannelConfigProperty"},
    {"WINSPOOL.DRV", "EnumPrintersW"},
};
