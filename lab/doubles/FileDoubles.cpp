// Reading of files is Wine's. It passes through here to be recorded, and to give less than was
// asked for.
#include "DoubleTable.h"
#include "OddReads.h"

#include "CallRecord.h"

#include <algorithm>
#include <utility>

namespace PalvoLab
{
namespace
{

std::optional<OddRead> asked;

BOOL WINAPI DoubleReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read,
                           LPOVERLAPPED overlapped)
{
    Call call(L"ReadFile", file, size);
    if (const auto odd = TakeOddRead())
    {
        size = std::min<DWORD>(size, odd->bytes);
    }
    return call.Return(ReadFile(file, buffer, size, read, overlapped));
}

} // namespace

void AskForOddRead(const OddRead& read)
{
    asked = read;
}

std::optional<OddRead> TakeOddRead()
{
    return std::exchange(asked, std::nullopt);
}

void AddFileDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", ReadFile);
}

} // namespace PalvoLab
