// The record of the calls that programs in the lab made into Windows: one line per call, in order,
// with time, process, function, arguments, result and last-error value. A line is written when the
// call has returned; where that is too late to tell what came first, see RecordInOrder.
#pragma once

#include "WindowsHeaders.h"

#include <cstdint>
#include <string>
#include <type_traits>

namespace PalvoLab
{

inline constexpr wchar_t kCallFile[] = L"calls.log";

// The exit code of a process that the lab killed.
inline constexpr UINT kKilled = 0xDEAD;

// Whether this process records, as `palvo-lab record` said when the process started.
bool IsRecording();

// Looks at the switch again; called once when the lab enters a process.
void StartRecording();

// Writes one line. Keeps the last-error value. When the process was started to be killed after
// its N-th recorded call, the N-th line is the last thing it does; a line that is not `wanted`
// counts, but is not written.
void RecordCall(const std::wstring& text, bool wanted = true);

// Keeps every other process from recording for as long as it lives: a call that is made and
// recorded inside has its line in the order in which it took effect. For calls that do not wait.
class RecordInOrder
{
public:
    explicit RecordInOrder(bool needed = true);
    RecordInOrder(const RecordInOrder&) = delete;
    RecordInOrder& operator=(const RecordInOrder&) = delete;
    ~RecordInOrder();

private:
    bool m_held;
};

namespace Detail
{

std::wstring ArgumentText(const wchar_t* text);
std::wstring ArgumentText(const void* pointer);
std::wstring ArgumentText(std::uint64_t number);

template <typename T> std::wstring AnyArgumentText(const T& value)
{
    if constexpr (std::is_same_v<std::decay_t<T>, std::wstring>)
    {
        return ArgumentText(value.c_str());
    }
    else if constexpr (std::is_convertible_v<T, const wchar_t*>)
    {
        return ArgumentText(static_cast<const wchar_t*>(value));
    }
    else if constexpr (std::is_pointer_v<std::decay_t<T>>)
    {
        return ArgumentText(reinterpret_cast<const void*>(value));
    }
    else
    {
        return ArgumentText(static_cast<std::uint64_t>(value));
    }
}

} // namespace Detail

// One call of a double: built with the arguments, ended with the result.
class Call
{
public:
    template <typename... Arguments>
    explicit Call(const wchar_t* function, const Arguments&... arguments) : m_function(function)
    {
        if (IsRecording())
        {
            const KeepError keep;
            (Append(Detail::AnyArgumentText(arguments)), ...);
        }
    }

    // Adds what became known during the call.
    template <typename T> void Add(const T& value)
    {
        if (IsRecording())
        {
            const KeepError keep;
            Append(Detail::AnyArgumentText(value));
        }
    }

    // Records the result with the last-error value of this moment, and hands it on.
    template <typename T> T Return(T result)
    {
        if (IsRecording())
        {
            Write(Detail::AnyArgumentText(result));
        }
        return result;
    }

    // The call fails: sets the last-error value and returns the failing result.
    template <typename T> T Fail(DWORD error, T result)
    {
        SetLastError(error);
        return Return(result);
    }

    BOOL Fail(DWORD error) { return Fail(error, FALSE); }

private:
    struct KeepError
    {
        DWORD error = GetLastError();
        KeepError() = default;
        KeepError(const KeepError&) = delete;
        KeepError& operator=(const KeepError&) = delete;
        ~KeepError() { SetLastError(error); }
    };

    void Append(const std::wstring& argument);
    void Write(const std::wstring& result);

    const wchar_t* m_function;
    std::wstring m_arguments;
};

} // namespace PalvoLab
