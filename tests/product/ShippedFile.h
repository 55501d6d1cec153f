#pragma once

#include "WindowsHeaders.h"

#include <string>

/// The full path of the program that ships: it lies in the folder above the test programs.
inline std::wstring ShippedFilePath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.rfind(L'\\'));
    folder.resize(folder.rfind(L'\\'));
    return folder + L"\\PalvoPrinterConfiguration.exe";
}
