// ITaskDefinition: the parts of a new task.
#include "ComObject.h"
#include "DefinitionObjects.h"
#include "TaskXml.h"

#include <set>

namespace PalvoLab
{
namespace
{

class DefinitionObject;

// A caller may hand any object to the scheduler as a definition: only own ones are read.
std::set<const void*>& Definitions()
{
    static std::set<const void*> definitions;
    return definitions;
}

class DefinitionObject final : public ComObject<ITaskDefinition>
{
public:
    explicit DefinitionObject(SharedTask task)
        : ComObject(L"ITaskDefinition", {IID_ITaskDefinition}), m_task(std::move(task))
    {
        Definitions().insert(static_cast<ITaskDefinition*>(this));
    }

    ~DefinitionObject() override { Definitions().erase(static_cast<ITaskDefinition*>(this)); }

    const SharedTask& Task() const { return m_task; }

    STDMETHODIMP get_RegistrationInfo(IRegistrationInfo** out) override
    {
        return Part(L"get_RegistrationInfo", out, MakeRegistrationInfo);
    }

    STDMETHODIMP get_Principal(IPrincipal** out) override
    {
        return Part(L"get_Principal", out, MakePrincipal);
    }

    STDMETHODIMP get_Settings(ITaskSettings** out) override
    {
        return Part(L"get_Settings", out, MakeSettings);
    }

    STDMETHODIMP get_Triggers(ITriggerCollection** out) override
    {
        return Part(L"get_Triggers", out, MakeTriggers);
    }

    STDMETHODIMP get_Actions(IActionCollection** out) override
    {
        return Part(L"get_Actions", out, MakeActions);
    }

    STDMETHODIMP get_XmlText(BSTR* out) override
    {
        return Perform(L"get_XmlText",
                       [&]() -> HRESULT
                       {
                           if (out == nullptr)
                           {
                               return E_POINTER;
                           }
                           StoredTask task;
                           task.data = *m_task;
                           *out = MakeBStr(TaskXml(task));
                           return S_OK;
                       });
    }

    PALVOLAB_NOT_MODELLED(put_RegistrationInfo(IRegistrationInfo*))
    PALVOLAB_NOT_MODELLED(put_Principal(IPrincipal*))
    PALVOLAB_NOT_MODELLED(put_Settings(ITaskSettings*))
    PALVOLAB_NOT_MODELLED(put_Triggers(ITriggerCollection*))
    PALVOLAB_NOT_MODELLED(put_Actions(IActionCollection*))
    PALVOLAB_NOT_MODELLED(get_Data(BSTR*))
    PALVOLAB_NOT_MODELLED(put_Data(BSTR))
    PALVOLAB_NOT_MODELLED(put_XmlText(BSTR))

private:
    template <typename Interface>
    HRESULT Part(const wchar_t* method, Interface** out, Interface* (*make)(SharedTask))
    {
        return Perform(method,
                       [&]() -> HRESULT
                       { return out == nullptr ? E_POINTER : HandOut(out, make(m_task)); });
    }

    SharedTask m_task;
};

} // namespace

ITaskDefinition* MakeDefinition(SharedTask task)
{
    return new DefinitionObject(std::move(task));
}

SharedTask DataOf(ITaskDefinition* definition)
{
    return Definitions().count(definition) == 0
               ? nullptr
               : static_cast<DefinitionObject*>(definition)->Task();
}

} // namespace PalvoLab
