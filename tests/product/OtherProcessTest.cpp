#include "OtherProcess.h"
#include "ShippedFile.h"

#include "Replaced.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{
TEST(SuspendedProcessTest, LeavesNoProcessBehindWhenItCannotBeMadeReady)
{
    KernelHandle process;
    const Replaced<"KERNEL32", "CreateRemoteThread", decltype(CreateRemoteThread)> createThread(
        [&process](HANDLE made, LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID,
                   DWORD, LPDWORD) -> HANDLE
        {
            DuplicateHandle(GetCurrentProcess(), made, GetCurrentProcess(), process.Receive(), 0,
                            FALSE, DUPLICATE_SAME_ACCESS);
            return nullptr;
        });
    EXPECT_THROW(SuspendedProcess(ShippedFilePath(), TestFolder()), std::runtime_error);
    ASSERT_TRUE(process.IsValid());
    EXPECT_EQ(WaitForSingleObject(process.Get(), 0), DWORD{WAIT_OBJECT_0});
    TerminateProcess(process.Get(), 1);
}
} // namespace
