#include "IdentifierHash.h"

#include "Format.h"
#include "Owners.h"

#include <wincrypt.h>

namespace
{
struct ProviderTraits
{
    using Value = HCRYPTPROV;
    static Value Nothing() noexcept { return 0; }
    static bool IsOwned(Value provider) noexcept { return provider != 0; }
    static void Close(Value provider) noexcept { CryptReleaseContext(provider, 0); }
};

struct HashTraits
{
    using Value = HCRYPTHASH;
    static Value Nothing() noexcept { return 0; }
    static bool IsOwned(Value hash) noexcept { return hash != 0; }
    static void Close(Value hash) noexcept { CryptDestroyHash(hash); }
};

/// Lower case by the invariant locale, not only A to Z.
std::wstring InvariantLowerCase(const std::wstring& text)
{
    const int length = static_cast<int>(text.size()) + 1;
    std::vector<wchar_t> lower(static_cast<std::size_t>(length));
    if (LCMapStringEx(L"", LCMAP_LOWERCASE, text.c_str(), length, lower.data(), length, nullptr,
                      nullptr, 0) == 0)
    {
        return {};
    }
    return lower.data();
}

/// Converts to UTF-8; false if the text is not valid UTF-16.
bool ToStrictUtf8(const std::wstring& text, std::string& utf8)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length,
                                         nullptr, 0, nullptr, nullptr);
    utf8.assign(static_cast<std::size_t>(size), '\0');
    return size != 0 && WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length,
                                            utf8.data(), size, nullptr, nullptr) == size;
}

/// The SHA-256 digest of the bytes (CryptoAPI); empty on failure.
std::vector<std::uint8_t> Sha256(const std::string& bytes)
{
    Owner<ProviderTraits> provider;
    if (!provider.KeepIf(CryptAcquireContextW(provider.Receive(), nullptr, nullptr, PROV_RSA_AES,
                                              CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET)))
    {
        return {};
    }
    Owner<HashTraits> hash;
    std::vector<std::uint8_t> digest(32);
    auto digestSize = static_cast<DWORD>(digest.size());
    if (!hash.KeepIf(CryptCreateHash(provider.Get(), CALG_SHA_256, 0, 0, hash.Receive())) ||
        !CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size()), 0) ||
        !CryptGetHashParam(hash.Get(), HP_HASHVAL, digest.data(), &digestSize, 0))
    {
        return {};
    }
    return digest;
}
} // namespace

std::wstring IdentifierText(std::vector<std::uint8_t> digest)
{
    digest.resize(16);
    std::wstring text;
    for (std::size_t i = 0; i < digest.size(); ++i)
    {
        if (i == 4 || i == 6 || i == 8 || i == 10)
        {
            text += L'-';
        }
        text += Format(L"%02x", digest[i]);
    }
    return text;
}

std::wstring HashToGuidText(const std::wstring& text)
{
    std::string utf8;
    if (!ToStrictUtf8(InvariantLowerCase(text), utf8))
    {
        return IdentifierText({});
    }
    return IdentifierText(Sha256(utf8));
}
