#include "ComputerSystemProduct.h"
#include "IdentifierHash.h"
#include "Looks.h"
#include "Owners.h"
#include "Sids.h"
#include "WellKnownAccounts.h"

namespace
{
bool IsSystem()
{
    KernelHandle token;
    std::wstring sid;
    return token.KeepIf(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Receive())) &&
           GetTokenUserSidString(token.Get(), sid) && sid == L"S-1-5-18";
}

/// As a run logs it on before it starts the query program. 0 or the error.
DWORD LogOnLocalService()
{
    const AccountName account = ResolveAccount(WellKnownAccounts::LocalService);
    KernelHandle token;
    const BOOL done = LogonUserW(account.name.c_str(), account.domain.c_str(), nullptr,
                                 LOGON32_LOGON_SERVICE, LOGON32_PROVIDER_DEFAULT, token.Receive());
    return token.KeepIf(done) ? 0 : GetLastError();
}
} // namespace

ServiceFacts LookAtServices()
{
    ServiceFacts facts;
    facts.isSystem = IsSystem();
    facts.logonError = facts.isSystem ? LogOnLocalService() : 0;
    facts.canHash = HashToGuidText(L"doctor") != IdentifierText({});
    const ComputerSystemProduct product = QueryComputerSystemProduct();
    facts.hasWmi = product.ok && (!product.uuid.empty() || !product.identifyingNumber.empty());
    return facts;
}
