// What a user plants under the name of a program or of a DLL: it leaves a file that tells that it
// ran.

#include <windows.h>

#include <string>

namespace
{
bool Tell(HMODULE self)
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(self, path, MAX_PATH);
    const std::wstring name(path);
    const HANDLE file = CreateFileW(
        (L"C:\\planted-ran-" + name.substr(name.rfind(L'\\') + 1)).c_str(), GENERIC_WRITE,
        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return CloseHandle(file) != FALSE;
}
} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, LPVOID); // no header declares it

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, LPVOID)
{
    return reason != DLL_PROCESS_ATTACH || Tell(self);
}

int main()
{
    return Tell(nullptr) ? 0 : 1;
}
