#pragma once

#include <windows.h>

#include <functional>
#include <stdexcept>

/// Runs `work` on a thread of its own and returns when that thread has ended. What the thread owned
/// then, a mutex say, is abandoned.
inline void OnOtherThread(const std::function<void()>& work)
{
    const HANDLE thread = CreateThread(
        nullptr, 0,
        [](void* function) -> DWORD
        {
            (*static_cast<const std::function<void()>*>(function))();
            return 0;
        },
        const_cast<std::function<void()>*>(&work), 0, nullptr);
    if (thread == nullptr)
    {
        throw std::runtime_error("no thread");
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}
