// Restart Manager.
#include "Check.h"

#include <restartmanager.h>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kFile[] = L"C:\\ProgramData\\PalvoContract.txt";

} // namespace

STATEMENT(RestartManagerKnowsNobodyWhoHasAClosedFileOpen, "RmRegisterResources, RmGetList",
          Caller::Anybody)
{
    const HANDLE made = CreateFileW(kFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    CHECK(made != INVALID_HANDLE_VALUE && CloseHandle(made));
    DWORD session = 0;
    WCHAR key[CCH_RM_SESSION_KEY + 1] = {};
    const wchar_t* file = kFile;
    UINT needed = 1;
    UINT count = 0;
    DWORD reasons = RmRebootReasonCriticalProcess;
    CHECK(RmStartSession(&session, 0, key) == ERROR_SUCCESS);
    CHECK(RmRegisterResources(session, 1, &file, 0, nullptr, 0, nullptr) == ERROR_SUCCESS);
    CHECK(RmGetList(session, &needed, &count, nullptr, &reasons) == ERROR_SUCCESS);
    CHECK(needed == 0 && count == 0 && reasons == RmRebootReasonNone);
    CHECK(RmEndSession(session) == ERROR_SUCCESS);
    CHECK(DeleteFileW(kFile));
}
