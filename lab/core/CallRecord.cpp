#include "CallRecord.h"

#include "LabState.h"
#include "Owners.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

bool recording = false;
std::uint64_t killAfter = 0;
std::uint64_t recorded = 0;

constexpr UINT kKilled = 0xDEAD;

void AppendToCallFile(const std::string& line)
{
    // Both stay open for the whole process: a record is written at every call.
    static const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"Global\\PalvoLabCalls");
    static const HANDLE file = CreateFileW((DataFolder() + kCallFile).c_str(), FILE_APPEND_DATA,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                           nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    WaitForSingleObject(mutex, INFINITE);
    // The time is taken inside, so that the order of lines is the order of times.
    const std::string text = ToLine(FormatTime(Now())) + " " + line;
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    ReleaseMutex(mutex);
}

} // namespace

bool IsRecording()
{
    return recording;
}

void StartRecording()
{
    const KeepLastError keep;
    recording = Setting(L"Record") == L"on";
    wchar_t count[24] = {};
    if (GetEnvironmentVariableW(L"PALVOLAB_KILL_AFTER", count, 24) != 0)
    {
        killAfter = ParseNumber(count).value_or(0);
        recording = recording || killAfter != 0;
        SetEnvironmentVariableW(L"PALVOLAB_KILL_AFTER", nullptr);
    }
}

void RecordCall(const std::wstring& text)
{
    if (!recording)
    {
        return;
    }
    const KeepLastError keep;
    AppendToCallFile(std::to_string(GetCurrentProcessId()) + " " + ToLine(text) + "\n");
    ++recorded;
    if (recorded == killAfter)
    {
        TerminateProcess(GetCurrentProcess(), kKilled);
    }
}

namespace Detail
{

std::wstring ArgumentText(const wchar_t* text)
{
    constexpr std::size_t longest = 400;
    if (text == nullptr)
    {
        return L"null";
    }
    // Resource ids and other small numbers travel in text parameters too.
    if (reinterpret_cast<std::uintptr_t>(text) < 0x10000)
    {
        return Hex(reinterpret_cast<std::uintptr_t>(text));
    }
    std::wstring quoted = L"\"";
    quoted.append(text, wcsnlen(text, longest));
    return quoted + L"\"";
}

std::wstring ArgumentText(const void* pointer)
{
    return pointer == nullptr ? L"null" : Hex(reinterpret_cast<std::uintptr_t>(pointer));
}

std::wstring ArgumentText(std::uint64_t number)
{
    return number < 0x10000 ? std::to_wstring(number) : Hex(number);
}

} // namespace Detail

void Call::Append(const std::wstring& argument)
{
    if (!m_arguments.empty())
    {
        m_arguments += L", ";
    }
    m_arguments += argument;
}

void Call::Write(const std::wstring& result)
{
    const DWORD error = GetLastError();
    RecordCall(std::wstring(m_function) + L"(" + m_arguments + L") = " + result + L" [" +
               std::to_wstring(error) + L"]");
}

} // namespace PalvoLab
