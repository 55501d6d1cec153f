#pragma once

#include "WindowsHeaders.h"

/// What a function answers that cannot be had.
struct LateFunction
{
    const char* name;
    INT_PTR missingDll;
    INT_PTR missingFunction;
};

inline constexpr INT_PTR NoDll = static_cast<INT_PTR>(static_cast<HRESULT>(0x8007007E));
inline constexpr INT_PTR NoFunction = static_cast<INT_PTR>(static_cast<HRESULT>(0x8007007F));

/// Every function that the program, its doctor and its package load late: one that returns an
/// HRESULT or an error and is not known as such would fail with success.
inline constexpr LateFunction LateFunctions[] = {
    {"EvtClose", 0, 0},
    {"EvtCreateRenderContext", 0, 0},
    {"EvtNext", 0, 0},
    {"EvtOpenChannelConfig", 0, 0},
    {"EvtQuery", 0, 0},
    {"EvtRender", 0, 0},
    {"EvtSaveChannelConfig", 0, 0},
    {"EvtSetChannelConfigProperty", 0, 0},
    {"WTSEnumerateSessionsW", 0, 0},
    {"WTSFreeMemory", 0, 0},
    {"WTSQueryUserToken", 0, 0},
    {"WTSSendMessageW", 0, 0},
    {"ClosePrinter", 0, 0},
    {"GetPrinterDriverW", 0, 0},
    {"InstallPrinterDriverFromPackageW", NoDll, NoFunction},
    {"OpenPrinterW", 0, 0},
    {"CreateEnvironmentBlock", 0, 0},
    {"DestroyEnvironmentBlock", 0, 0},
    {"UnloadUserProfile", 0, 0},
    {"DispatchMessageW", 0, 0},
    {"GetMessageW", 0, 0},
    {"GetProcessWindowStation", 0, 0},
    {"GetUserObjectInformationW", 0, 0},
    {"MessageBoxW", 0, 0},
    {"PeekMessageW", 0, 0},
    {"PostQuitMessage", 0, 0},
    {"TranslateMessage", 0, 0},
    {"SHGetKnownFolderPath", NoDll, NoFunction},
    {"CoCreateInstance", NoDll, NoFunction},
    {"CoInitializeEx", NoDll, NoFunction},
    {"CoInitializeSecurity", NoDll, NoFunction},
    {"CoSetProxyBlanket", NoDll, NoFunction},
    {"CoTaskMemFree", 0, 0},
    {"CoUninitialize", 0, 0},
    {"SysAllocString", 0, 0},
    {"SysFreeString", 0, 0},
    {"VariantChangeType", NoDll, NoFunction},
    {"VariantClear", NoDll, NoFunction},
    {"VariantInit", 0, 0},
    {"GetUserNameExW", 0, 0},
    {"EnumPrintersW", 0, 0},
    {"EvtGetChannelConfigProperty", 0, 0},
    {"GetFileVersionInfoSizeW", 0, 0},
    {"GetFileVersionInfoW", 0, 0},
    {"RmEndSession", 126, 127},
    {"RmGetList", 126, 127},
    {"RmRegisterResources", 126, 127},
    {"RmStartSession", 126, 127},
    {"VariantTimeToSystemTime", 0, 0},
    {"VerQueryValueW", 0, 0},
};
