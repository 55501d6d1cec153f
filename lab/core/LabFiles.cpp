// The lab's files: see LabState.h.
#include "LabState.h"

#include "LabLock.h"
#include "Owners.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kFileLock[] = L"Global\\PalvoLabFiles";

std::wstring SystemDrive()
{
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    return std::wstring(windows, 2);
}

} // namespace

const std::wstring& DataFolder()
{
    static const std::wstring folder = []
    {
        const std::wstring parent = SystemDrive() + L"\\ProgramData";
        CreateDirectoryW(parent.c_str(), nullptr);
        CreateDirectoryW((parent + L"\\PalvoLab").c_str(), nullptr);
        return parent + L"\\PalvoLab\\";
    }();
    return folder;
}

std::wstring ProgramFolder()
{
    return SystemDrive() + L"\\Program Files\\Palvo Printer Suite\\";
}

void AppendLine(const std::wstring& fileName, const std::string& line)
{
    const std::string text = line + "\n";
    const LabLock lock(kFileLock);
    const FileHandle file(CreateFileW((DataFolder() + fileName).c_str(), FILE_APPEND_DATA,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

std::vector<std::string> ReadLines(const std::wstring& fileName)
{
    std::vector<std::string> lines;
    const LabLock lock(kFileLock);
    const auto text = ReadWholeFile(DataFolder() + fileName);
    std::size_t begin = 0;
    while (text && begin < text->size())
    {
        std::size_t end = text->find('\n', begin);
        end = end == std::string::npos ? text->size() : end;
        lines.push_back(text->substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path)
{
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.Get(), &size))
    {
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!bytes.empty() &&
        !ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
    {
        return std::nullopt;
    }
    bytes.resize(read);
    return bytes;
}

} // namespace PalvoLab
