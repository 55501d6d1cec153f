#pragma once

#include "WindowsHeaders.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// The folder that the test program lies in.
inline std::wstring TestFolder()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.rfind(L'\\'));
    return folder;
}

/// The full path of the program that ships: it lies in the folder above the test programs.
inline std::wstring ShippedFilePath()
{
    const std::wstring folder = TestFolder();
    return folder.substr(0, folder.rfind(L'\\')) + L"\\PalvoPrinterConfiguration.exe";
}

/// The bytes of the program that ships; empty when it cannot be read.
inline std::string ShippedFileBytes()
{
    std::ifstream file(ShippedFilePath().c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A record as it lies in a file's bytes. Throws std::out_of_range when they end before it does.
template <class Record> Record ReadRecord(const std::string& bytes, std::size_t offset)
{
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Record))
    {
        throw std::out_of_range("the file is too short");
    }
    Record record;
    std::memcpy(&record, bytes.data() + offset, sizeof record);
    return record;
}
