// Doubles of the message box, the message queue, and what tells whether a process is interactive.
// None of them touches a display: Wine's own would start a desktop.
#include "DoubleTable.h"
#include "Impersonation.h"
#include "MessageRecord.h"

#include "CallRecord.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "Text.h"

#include <cstring>
#include <deque>
#include <optional>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kMessageFile[] = L"messages.log";
constexpr std::uintptr_t kStationHandle = 0x5C;

// The thread's message queue. `palvo-lab set message-queue "1024 quit 1025"` fills it for the
// programs that start afterwards.
struct Queue
{
    std::deque<UINT> messages;
    std::optional<int> quit;
    bool filled = false;
};

Queue& ThreadQueue()
{
    static auto* queue = new Queue;
    if (!queue->filled)
    {
        queue->filled = true;
        const std::wstring text = Setting(L"MessageQueue");
        for (const std::wstring& part : Split(text, L' '))
        {
            if (part == L"quit")
            {
                queue->messages.push_back(WM_QUIT);
            }
            else if (const auto number = ParseNumber(part))
            {
                queue->messages.push_back(static_cast<UINT>(*number));
            }
        }
    }
    return *queue;
}

bool NextMessage(MSG& message, bool remove)
{
    Queue& queue = ThreadQueue();
    message = {};
    if (!queue.messages.empty())
    {
        message.message = queue.messages.front();
        if (remove)
        {
            queue.messages.pop_front();
        }
        return true;
    }
    // A posted quit comes when nothing else is left.
    if (queue.quit)
    {
        message.message = WM_QUIT;
        message.wParam = static_cast<WPARAM>(*queue.quit);
        if (remove)
        {
            queue.quit.reset();
        }
        return true;
    }
    return false;
}

BOOL WINAPI DoublePeekMessageW(LPMSG message, HWND, UINT, UINT, UINT remove)
{
    Call call(L"PeekMessageW", remove);
    if (message == nullptr)
    {
        return call.Fail(ERROR_NOACCESS);
    }
    return call.Return(NextMessage(*message, (remove & PM_REMOVE) != 0) ? TRUE : FALSE);
}

BOOL WINAPI DoubleGetMessageW(LPMSG message, HWND, UINT, UINT)
{
    Call call(L"GetMessageW");
    if (message == nullptr)
    {
        return call.Fail(ERROR_NOACCESS, -1);
    }
    while (!NextMessage(*message, true))
    {
        // Nothing can come from elsewhere, so this waits for ever, as it would on Windows.
        Sleep(INFINITE);
    }
    call.Add(message->message);
    return call.Return(message->message == WM_QUIT ? FALSE : TRUE);
}

BOOL WINAPI DoubleTranslateMessage(const MSG* message)
{
    return Call(L"TranslateMessage", message->message).Return(FALSE);
}

LRESULT WINAPI DoubleDispatchMessageW(const MSG* message)
{
    return Call(L"DispatchMessageW", message->message).Return(LRESULT{0});
}

void WINAPI DoublePostQuitMessage(int code)
{
    Call call(L"PostQuitMessage", static_cast<unsigned>(code));
    ThreadQueue().quit = code;
    call.Return(0);
}

int WINAPI DoubleMessageBoxW(HWND, LPCWSTR text, LPCWSTR title, UINT style)
{
    Call call(L"MessageBoxW", style);
    const int result = static_cast<int>(NumberSetting(L"BoxReturns", IDOK));
    RecordMessageBox(title == nullptr ? L"Error" : title, text == nullptr ? L"" : text, style,
                     result);
    return result == 0 ? call.Fail(ERROR_NOT_ENOUGH_MEMORY, 0) : call.Return(result);
}

HWINSTA WINAPI DoubleGetProcessWindowStation()
{
    Call call(L"GetProcessWindowStation");
    if (Setting(L"WindowStation") == L"none")
    {
        return call.Fail(ERROR_INVALID_HANDLE, HWINSTA{nullptr});
    }
    return call.Return(reinterpret_cast<HWINSTA>(kStationHandle));
}

BOOL WINAPI DoubleGetUserObjectInformationW(HANDLE object, int index, PVOID buffer, DWORD size,
                                            LPDWORD needed)
{
    Call call(L"GetUserObjectInformationW", object, static_cast<unsigned>(index), size);
    if (object != reinterpret_cast<HANDLE>(kStationHandle))
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (index != UOI_FLAGS)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    USEROBJECTFLAGS flags = {};
    flags.dwFlags = HasVisibleStation() ? WSF_VISIBLE : 0;
    if (needed != nullptr)
    {
        *needed = sizeof flags;
    }
    if (buffer == nullptr || size < sizeof flags)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(buffer, &flags, sizeof flags);
    return call.Return(TRUE);
}

} // namespace

bool HasVisibleStation()
{
    const std::wstring station = Setting(L"WindowStation");
    return station.empty() ? ProcessIdentity().session != 0 : station == L"visible";
}

void RecordSentMessage(std::uint32_t session, const std::wstring& title, std::uint32_t titleBytes,
                       const std::wstring& text, std::uint32_t textBytes, std::uint32_t style)
{
    AppendLine(kMessageFile,
               ToLine(L"sent pid=" + std::to_wstring(GetCurrentProcessId()) + L" session=" +
                      std::to_wstring(session) + L" style=" + Hex(style) + L" titleBytes=" +
                      std::to_wstring(titleBytes) + L" textBytes=" + std::to_wstring(textBytes) +
                      L" title=\"" + title + L"\" text=\"" + text + L"\""));
}

void RecordMessageBox(const std::wstring& title, const std::wstring& text, std::uint32_t style,
                      int result)
{
    AppendLine(kMessageFile,
               ToLine(L"box pid=" + std::to_wstring(GetCurrentProcessId()) + L" style=" +
                      Hex(style) + L" result=" + std::to_wstring(result) + L" title=\"" + title +
                      L"\" text=\"" + text + L"\""));
}

void AddMessageDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "USER32", PeekMessageW);
    PALVOLAB_DOUBLE(list, "USER32", GetMessageW);
    PALVOLAB_DOUBLE(list, "USER32", TranslateMessage);
    PALVOLAB_DOUBLE(list, "USER32", DispatchMessageW);
    PALVOLAB_DOUBLE(list, "USER32", PostQuitMessage);
    PALVOLAB_DOUBLE(list, "USER32", MessageBoxW);
    PALVOLAB_DOUBLE(list, "USER32", GetProcessWindowStation);
    PALVOLAB_DOUBLE(list, "USER32", GetUserObjectInformationW);
}

} // namespace PalvoLab
