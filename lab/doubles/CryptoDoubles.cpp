// Cryptographic providers and hashes: Wine's own, passed through and counted.
#include "DoubleTable.h"

#include "CallRecord.h"
#include "LeakRecord.h"

#include <wincrypt.h>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kProvider[] = L"cryptographic provider";
constexpr wchar_t kHash[] = L"hash";

const void* KeyOf(ULONG_PTR handle)
{
    return reinterpret_cast<const void*>(handle);
}

BOOL WINAPI DoubleCryptAcquireContextW(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name,
                                       DWORD type, DWORD flags)
{
    Call call(L"CryptAcquireContextW", type, flags);
    const BOOL acquired = CryptAcquireContextW(provider, container, name, type, flags);
    if (acquired)
    {
        CountOpened(kProvider, KeyOf(*provider), L"");
    }
    return call.Return(acquired);
}

BOOL WINAPI DoubleCryptReleaseContext(HCRYPTPROV provider, DWORD flags)
{
    Call call(L"CryptReleaseContext", flags);
    // The runtime library has providers too; only what the lab saw is counted.
    if (IsOpen(kProvider, KeyOf(provider)))
    {
        CountClosed(kProvider, KeyOf(provider));
    }
    return call.Return(CryptReleaseContext(provider, flags));
}

BOOL WINAPI DoubleCryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                                  HCRYPTHASH* hash)
{
    Call call(L"CryptCreateHash", algorithm, flags);
    const BOOL created = CryptCreateHash(provider, algorithm, key, flags, hash);
    if (created)
    {
        CountOpened(kHash, KeyOf(*hash), L"");
    }
    return call.Return(created);
}

BOOL WINAPI DoubleCryptDestroyHash(HCRYPTHASH hash)
{
    Call call(L"CryptDestroyHash");
    CountClosed(kHash, KeyOf(hash));
    return call.Return(CryptDestroyHash(hash));
}

} // namespace

void AddCryptoDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", CryptAcquireContextW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", CryptReleaseContext);
    PALVOLAB_DOUBLE(list, "ADVAPI32", CryptCreateHash);
    PALVOLAB_DOUBLE(list, "ADVAPI32", CryptDestroyHash);
}

} // namespace PalvoLab
