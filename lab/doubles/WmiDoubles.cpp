// WMI is Wine's own. The lab only stands in front of the methods that a program calls: they are
// counted, can be made to fail, and an interface that is not released is a leak. Two properties
// that Wine takes from the machine have values of the lab's own, so that who asks in vain is told
// from who asks a machine without them.
#include "WmiDoubles.h"
#include "ComDoubles.h"
#include "Impersonation.h"

#include "CallRecord.h"
#include "CallThunk.h"
#include "LeakRecord.h"
#include "MethodFaults.h"
#include "Text.h"

#include <oleauto.h>
#include <wbemcli.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kInterface[] = L"interface";
constexpr wchar_t kText[] = L"COM text"; // given back by SysFreeString or VariantClear

// The slot of a method in its interface's table: COM fixes it, and the header that declares the
// interface tells it. A pointer to a virtual member holds one more than the slot's offset in bytes.
template <typename Method> std::size_t SlotOf(Method method)
{
    struct
    {
        std::uintptr_t offsetAndOne;
        std::ptrdiff_t adjustment;
    } parts = {};
    static_assert(sizeof(parts) == sizeof(method));
    std::memcpy(&parts, &method, sizeof(parts));
    return (parts.offsetAndOne - 1) / sizeof(void*);
}

const std::size_t kRelease = SlotOf(&IUnknown::Release);
const std::size_t kConnectServer = SlotOf(&IWbemLocator::ConnectServer);
const std::size_t kGet = SlotOf(&IWbemClassObject::Get);
const std::size_t kNext = SlotOf(&IEnumWbemClassObject::Next);
const std::size_t kExecQuery = SlotOf(&IWbemServices::ExecQuery);

// How many methods an interface has, by its last one.
const std::size_t kLocatorMethods = SlotOf(&IWbemLocator::ConnectServer) + 1;
const std::size_t kServicesMethods = SlotOf(&IWbemServices::ExecMethodAsync) + 1;
const std::size_t kEnumeratorMethods = SlotOf(&IEnumWbemClassObject::Skip) + 1;
const std::size_t kObjectMethods = SlotOf(&IWbemClassObject::GetMethodOrigin) + 1;

// The table of a watched object: its own with some methods replaced.
struct Table
{
    void** original;
    std::unique_ptr<void*[]> replaced;
};

std::map<void*, Table>& Tables()
{
    static auto* tables = new std::map<void*, Table>;
    return *tables;
}

template <typename Method> Method Original(void* object, std::size_t slot)
{
    return reinterpret_cast<Method>(Tables().at(object).original[slot]);
}

// Services that a program let act for it, by CoSetProxyBlanket.
std::set<void*>& Trusted()
{
    static auto* trusted = new std::set<void*>;
    return *trusted;
}

ULONG STDMETHODCALLTYPE HookRelease(IUnknown* object)
{
    const auto release = Original<ULONG(STDMETHODCALLTYPE*)(IUnknown*)>(object, kRelease);
    // The object may be gone after the call, so it gets its own table back before.
    void** const replaced = *reinterpret_cast<void***>(object);
    *reinterpret_cast<void***>(object) = Tables().at(object).original;
    const ULONG left = release(object);
    if (left == 0)
    {
        Trusted().erase(object);
        Tables().erase(object);
        CountClosed(kInterface, object);
    }
    else
    {
        *reinterpret_cast<void***>(object) = replaced;
    }
    return left;
}

// A method without a hook: counted by its slot and able to fail, so that no method that a program
// comes to use is forgotten.
class AnyMethod : public CallDecision
{
public:
    explicit AnyMethod(std::wstring name) : m_name(std::move(name)) {}

    bool Answer(std::uint64_t& result) override
    {
        const auto fault = PlannedFault(m_name);
        result = static_cast<std::uint32_t>(fault.value_or(S_OK));
        return fault.has_value();
    }

private:
    std::wstring m_name;
};

void* AnyMethodOf(const wchar_t* name, std::size_t slot, void* target)
{
    static auto* made = new std::map<std::pair<void*, std::size_t>, void*>;
    void*& thunk = (*made)[{target, slot}];
    if (thunk == nullptr)
    {
        thunk = CreateCallThunk(
            target, new AnyMethod(std::wstring(name) + L"::slot" + std::to_wstring(slot)));
    }
    return thunk;
}

// Stands in front of one method, given by its slot, of Release, and of what is beyond IUnknown.
void Watch(void* object, const wchar_t* name, std::size_t methodCount, std::size_t slot,
           void* method)
{
    if (object == nullptr || Tables().count(object) != 0)
    {
        return;
    }
    Table table{*static_cast<void***>(object), std::make_unique<void*[]>(methodCount)};
    std::memcpy(table.replaced.get(), table.original, methodCount * sizeof(void*));
    for (std::size_t other = kRelease + 1; other < methodCount; ++other)
    {
        table.replaced[other] = AnyMethodOf(name, other, table.original[other]);
    }
    table.replaced[kRelease] = reinterpret_cast<void*>(&HookRelease);
    table.replaced[slot] = method;
    *static_cast<void***>(object) = table.replaced.get();
    Tables().emplace(object, std::move(table));
    CountOpened(kInterface, object, name);
}

// The value of a property that tells machines apart; null for any other.
const wchar_t* ValueOfTheLab(LPCWSTR property)
{
    if (EqualNoCase(property, L"UUID"))
    {
        return L"5D1C9E40-27AB-4F86-B3D2-0A94E6C7158F";
    }
    return EqualNoCase(property, L"IdentifyingNumber") ? L"LAB-4711" : nullptr;
}

// Puts another value in the place of the one that Wine gave.
void Replace(VARIANT* value, VARIANT other)
{
    static const auto clear = PALVOLAB_REAL("oleaut32.dll", VariantClear);
    clear(value);
    *value = other;
}

HRESULT STDMETHODCALLTYPE HookGet(IWbemClassObject* object, LPCWSTR name, LONG flags,
                                  VARIANT* value, CIMTYPE* type, LONG* flavor)
{
    const auto fault = PlannedFault(L"IWbemClassObject::Get");
    if (fault && FAILED(*fault))
    {
        return *fault;
    }
    const HRESULT result =
        Original<decltype(&HookGet)>(object, kGet)(object, name, flags, value, type, flavor);
    VARIANT other = {};
    if (SUCCEEDED(result) && fault)
    {
        // A fault that is a success asks for another type.
        other.vt = VT_I4;
        other.lVal = 7;
        Replace(value, other);
    }
    else if (const wchar_t* text = ValueOfTheLab(name); SUCCEEDED(result) && text != nullptr)
    {
        static const auto allocate = PALVOLAB_REAL("oleaut32.dll", SysAllocString);
        other.vt = VT_BSTR;
        other.bstrVal = allocate(text);
        Replace(value, other);
    }
    if (SUCCEEDED(result) && value->vt == VT_BSTR && value->bstrVal != nullptr)
    {
        CountOpened(kText, value->bstrVal, L"IWbemClassObject::Get");
    }
    return result;
}

HRESULT STDMETHODCALLTYPE HookNext(IEnumWbemClassObject* objects, LONG timeout, ULONG count,
                                   IWbemClassObject** found, ULONG* returned)
{
    if (const auto fault = PlannedFault(L"IEnumWbemClassObject::Next"))
    {
        return *fault;
    }
    const HRESULT result =
        Original<decltype(&HookNext)>(objects, kNext)(objects, timeout, count, found, returned);
    for (ULONG i = 0; SUCCEEDED(result) && i < *returned; ++i)
    {
        Watch(found[i], L"IWbemClassObject", kObjectMethods, kGet,
              reinterpret_cast<void*>(&HookGet));
    }
    return result;
}

// The service runs queries in the caller's name: a caller that lets it only identify it is refused.
// What the process said for all its proxies counts where the proxy was told nothing.
bool MayAct(void* services)
{
    return Trusted().count(services) != 0 ||
           ProcessImpersonationLevel() >= RPC_C_IMP_LEVEL_IMPERSONATE;
}

HRESULT STDMETHODCALLTYPE HookExecQuery(IWbemServices* services, BSTR language, BSTR query,
                                        LONG flags, IWbemContext* context,
                                        IEnumWbemClassObject** objects)
{
    if (const auto fault = PlannedFault(L"IWbemServices::ExecQuery"))
    {
        return *fault;
    }
    if (!MayAct(services))
    {
        return static_cast<HRESULT>(WBEM_E_ACCESS_DENIED);
    }
    const HRESULT result = Original<decltype(&HookExecQuery)>(services, kExecQuery)(
        services, language, query, flags, context, objects);
    if (SUCCEEDED(result))
    {
        Watch(*objects, L"IEnumWbemClassObject", kEnumeratorMethods, kNext,
              reinterpret_cast<void*>(&HookNext));
    }
    return result;
}

HRESULT STDMETHODCALLTYPE HookConnectServer(IWbemLocator* locator, BSTR path, BSTR user,
                                            BSTR password, BSTR locale, LONG flags, BSTR authority,
                                            IWbemContext* context, IWbemServices** services)
{
    if (const auto fault = PlannedFault(L"IWbemLocator::ConnectServer"))
    {
        return *fault;
    }
    const HRESULT result = Original<decltype(&HookConnectServer)>(locator, kConnectServer)(
        locator, path, user, password, locale, flags, authority, context, services);
    if (SUCCEEDED(result))
    {
        Watch(*services, L"IWbemServices", kServicesMethods, kExecQuery,
              reinterpret_cast<void*>(&HookExecQuery));
    }
    return result;
}

} // namespace

void SetBlanketOf(void* proxy, DWORD impersonation, DWORD capabilities)
{
    // With cloaking the thread's own token tells how far its user may be impersonated.
    const bool cloaked = (capabilities & (EOAC_STATIC_CLOAKING | EOAC_DYNAMIC_CLOAKING)) != 0;
    if (impersonation >= RPC_C_IMP_LEVEL_IMPERSONATE && (!cloaked || LevelError() == ERROR_SUCCESS))
    {
        Trusted().insert(proxy);
    }
    else
    {
        Trusted().erase(proxy);
    }
}

void WatchLocator(void* locator)
{
    Watch(locator, L"IWbemLocator", kLocatorMethods, kConnectServer,
          reinterpret_cast<void*>(&HookConnectServer));
}

} // namespace PalvoLab
