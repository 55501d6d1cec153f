#pragma once

// GoogleTest's Notification is made of std::mutex and std::condition_variable, which the win32
// thread model lacks. This one, of the same interface, is included before GoogleTest's headers,
// which are told by GTEST_HAS_NOTIFICATION_ that there is one already.

#ifdef __cplusplus
#include <windows.h>

namespace testing::internal
{
/// Lets threads wait until they are notified, once.
class Notification
{
public:
    Notification() : event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~Notification() { CloseHandle(event); }
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;

    void Notify() { SetEvent(event); }
    void WaitForNotification() { WaitForSingleObject(event, INFINITE); }

private:
    HANDLE event;
};
} // namespace testing::internal
#endif
