// Named objects of others: made by this process, as an account, and open until it gives them up.
#include "Command.h"

#include "NamedObjects.h"
#include "Owners.h"

namespace PalvoLab
{
namespace
{

std::vector<KernelHandle>& Held()
{
    static std::vector<KernelHandle> held;
    return held;
}

// Closing a mutex does not give it up while this thread lives and somebody else has it open.
void GiveUp()
{
    for (const KernelHandle& object : Held())
    {
        ReleaseMutex(object.Get());
    }
    Held().clear();
}

HANDLE Make(const std::wstring& kind, const std::wstring& name, SECURITY_ATTRIBUTES* security)
{
    return kind == L"mutex" ? CreateMutexW(security, TRUE, name.c_str())
                            : CreateEventW(security, FALSE, FALSE, name.c_str());
}

} // namespace

int RunHold(const Arguments& given)
{
    Arguments arguments = given;
    if (arguments.size() == 1 && arguments[0] == L"off")
    {
        GiveUp();
        return kDone;
    }
    const auto account = TakeOption(arguments, L"--account");
    const auto list = TakeOption(arguments, L"--security");
    const auto identity = FindIdentity(account.value_or(CurrentAccount()));
    Descriptor descriptor = ParseDescriptor(list.value_or(L"D:"));
    if (arguments.size() != 2 || (arguments[0] != L"mutex" && arguments[0] != L"event") ||
        !identity || descriptor.empty())
    {
        return Misused(L"hold");
    }
    const SECURITY_ATTRIBUTES asked = {sizeof asked, list ? descriptor.data() : nullptr, FALSE};
    ObjectSecurity security(*identity, &asked);
    KernelHandle made(Make(arguments[0], arguments[1], security.Attributes()));
    if (!made || GetLastError() == ERROR_ALREADY_EXISTS)
    {
        return Complain(L"'" + arguments[1] + L"' is there already");
    }
    Held().push_back(std::move(made));
    return kDone;
}

} // namespace PalvoLab
