# Palvo::Windows: the system libraries of the program. Kernel, registry and C runtime are bound at the
# start; every other DLL is loaded at its first call.

include(DelayLoad)

add_library(palvo_windows INTERFACE)
add_library(Palvo::Windows ALIAS palvo_windows)

delay_load(palvo_windows WEVTAPI.dll
    EvtClose
    EvtCreateRenderContext
    EvtNext
    EvtOpenChannelConfig
    EvtQuery
    EvtRender
    EvtSaveChannelConfig
    EvtSetChannelConfigProperty)

delay_load(palvo_windows WTSAPI32.dll
    WTSEnumerateSessionsW
    WTSFreeMemory
    WTSQueryUserToken
    WTSSendMessageW)

delay_load(palvo_windows WINSPOOL.DRV
    ClosePrinter
    GetPrinterDriverW
    InstallPrinterDriverFromPackageW
    OpenPrinterW)

delay_load(palvo_windows USERENV.dll
    CreateEnvironmentBlock
    DestroyEnvironmentBlock
    UnloadUserProfile)

delay_load(palvo_windows USER32.dll
    DispatchMessageW
    GetMessageW
    GetProcessWindowStation
    GetUserObjectInformationW
    MessageBoxW
    PeekMessageW
    PostQuitMessage
    TranslateMessage)

delay_load(palvo_windows SHELL32.dll
    SHGetKnownFolderPath)

delay_load(palvo_windows OLE32.dll
    CoCreateInstance
    CoInitializeEx
    CoInitializeSecurity
    CoSetProxyBlanket
    CoTaskMemFree
    CoUninitialize)

delay_load(palvo_windows OLEAUT32.dll
    SysAllocString
    SysFreeString
    VariantChangeType
    VariantClear
    VariantInit)

delay_load(palvo_windows SECUR32.dll
    GetUserNameExW)

# The linker's helper for late imports calls the hooks of src/SimpleUtilitiesLib/runtime/LateLoading.cpp. Asked
# for by name, they are found there before the runtime's empty ones.
foreach(hook __pfnDliNotifyHook2 __pfnDliFailureHook2)
    target_link_options(palvo_windows INTERFACE
        $<IF:$<BOOL:${MSVC}>,/INCLUDE:${hook},-Wl$<COMMA>-u$<COMMA>${hook}>)
endforeach()

# Identifiers of COM classes and interfaces: constants, no DLL.
target_link_libraries(palvo_windows INTERFACE
    advapi32 taskschd wbemuuid uuid)
