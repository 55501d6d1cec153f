#include "CallRecord.h"

#include "LabState.h"
#include "Owners.h"
#include "Text.h"

#include <algorithm>
#include <vector>

namespace PalvoLab
{
namespace
{

bool recording = false;
std::vector<std::wstring> onlyFunctions; // none: all
std::uint64_t killAfter = 0;
std::uint64_t recorded = 0;

// Stays open for the whole process, as the file does: a record is written at every call.
HANDLE RecordMutex()
{
    static const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"Global\\PalvoLabCalls");
    return mutex;
}

void AppendToCallFile(const std::string& line)
{
    static const HANDLE file = CreateFileW((DataFolder() + kCallFile).c_str(), FILE_APPEND_DATA,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                           nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    WaitForSingleObject(RecordMutex(), INFINITE);
    // The time is taken inside, so that the order of lines is the order of times.
    const std::string text = ToLine(FormatTime(Now())) + " " + line;
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    ReleaseMutex(RecordMutex());
}

} // namespace

bool IsRecording()
{
    return recording;
}

void StartRecording()
{
    const LastErrorKeeper keep;
    recording = Setting(L"Record") == L"on";
    const std::wstring only = Setting(L"RecordOnly");
    onlyFunctions = only.empty() ? std::vector<std::wstring>() : Split(only, L' ');
    wchar_t count[24] = {};
    if (GetEnvironmentVariableW(L"PALVOLAB_KILL_AFTER", count, 24) != 0)
    {
        killAfter = ParseNumber(count).value_or(0);
        recording = recording || killAfter != 0;
        SetEnvironmentVariableW(L"PALVOLAB_KILL_AFTER", nullptr);
    }
}

void RecordCall(const std::wstring& text, bool wanted)
{
    if (!recording)
    {
        return;
    }
    const LastErrorKeeper keep;
    if (wanted)
    {
        AppendToCallFile(std::to_string(GetCurrentProcessId()) + " " + ToLine(text) + "\n");
    }
    ++recorded;
    if (recorded == killAfter)
    {
        TerminateProcess(GetCurrentProcess(), kKilled);
    }
}

RecordInOrder::RecordInOrder(bool needed) : m_held(needed && recording)
{
    if (m_held)
    {
        const LastErrorKeeper keep;
        WaitForSingleObject(RecordMutex(), INFINITE);
    }
}

RecordInOrder::~RecordInOrder()
{
    if (m_held)
    {
        const LastErrorKeeper keep;
        ReleaseMutex(RecordMutex());
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
    const bool wanted =
        onlyFunctions.empty() ||
        std::find(onlyFunctions.begin(), onlyFunctions.end(), m_function) != onlyFunctions.end();
    RecordCall(std::wstring(m_function) + L"(" + m_arguments + L") = " + result + L" [" +
                   std::to_wstring(error) + L"]",
               wanted);
}

} // namespace PalvoLab
