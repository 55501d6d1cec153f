#include "TemporaryFolder.h"

#include "WindowsHeaders.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

TemporaryFolder::TemporaryFolder()
{
    wchar_t parent[MAX_PATH] = {};
    if (GetTempPathW(MAX_PATH, parent) == 0)
    {
        throw std::runtime_error("no folder for temporary files");
    }
    static unsigned number = 0;
    do
    {
        path = parent + (L"PalvoTest" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                         std::to_wstring(++number));
        if (CreateDirectoryW(path.c_str(), nullptr) != 0)
        {
            return;
        }
    } while (GetLastError() == ERROR_ALREADY_EXISTS);
    throw std::runtime_error("the temporary folder cannot be made");
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::wstring TemporaryFolder::Of(const std::wstring& name) const
{
    return path + L"\\" + name;
}

std::wstring TemporaryFolder::WriteFile(const std::wstring& name, const std::string& bytes) const
{
    const std::wstring file = Of(name);
    std::ofstream stream(file.c_str(), std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
    {
        throw std::runtime_error("the file cannot be written");
    }
    return file;
}

std::string FileBytes(const std::wstring& path)
{
    std::ifstream stream(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
