// IActionCollection and the action that runs a program.
#include "ComObject.h"
#include "DefinitionObjects.h"

namespace PalvoLab
{
namespace
{

using SharedAction = std::shared_ptr<ActionData>;

class ExecActionObject final : public PropertyObject<IExecAction>
{
public:
    explicit ExecActionObject(const SharedAction& action)
        : PropertyObject(L"IExecAction", {IID_IAction, IID_IExecAction},
                         std::shared_ptr<PropertyBag>(action, &action->properties))
    {
    }

    STDMETHODIMP get_Type(TASK_ACTION_TYPE* type) override
    {
        return Perform(L"get_Type",
                       [&]() -> HRESULT
                       {
                           if (type == nullptr)
                           {
                               return E_POINTER;
                           }
                           *type = TASK_ACTION_EXEC;
                           return S_OK;
                       });
    }

    PALVOLAB_TEXT_PROPERTY(Id)
    PALVOLAB_TEXT_PROPERTY(Path)
    PALVOLAB_TEXT_PROPERTY(Arguments)
    PALVOLAB_TEXT_PROPERTY(WorkingDirectory)
};

class ActionCollectionObject final : public ComObject<IActionCollection>
{
public:
    explicit ActionCollectionObject(SharedTask task)
        : ComObject(L"IActionCollection", {IID_IActionCollection}), m_task(std::move(task))
    {
    }

    STDMETHODIMP get_Count(LONG* count) override
    {
        return Perform(L"get_Count",
                       [&]() -> HRESULT
                       {
                           if (count == nullptr)
                           {
                               return E_POINTER;
                           }
                           *count = static_cast<LONG>(m_task->actions.size());
                           return S_OK;
                       });
    }

    STDMETHODIMP Create(TASK_ACTION_TYPE type, IAction** out) override
    {
        const auto create = [&]() -> HRESULT
        {
            if (out == nullptr)
            {
                return E_POINTER;
            }
            *out = nullptr;
            if (type != TASK_ACTION_EXEC)
            {
                const bool exists = type == TASK_ACTION_COM_HANDLER ||
                                    type == TASK_ACTION_SEND_EMAIL ||
                                    type == TASK_ACTION_SHOW_MESSAGE;
                return exists ? E_NOTIMPL : E_INVALIDARG;
            }
            auto action = std::make_shared<ActionData>();
            action->type = type;
            m_task->actions.push_back(action);
            return HandOut(out, new ExecActionObject(action));
        };
        return Perform(L"Create", create, static_cast<std::uint32_t>(type));
    }

    PALVOLAB_NOT_MODELLED(get_Item(LONG, IAction**))
    PALVOLAB_NOT_MODELLED(get__NewEnum(IUnknown**))
    PALVOLAB_NOT_MODELLED(get_XmlText(BSTR*))
    PALVOLAB_NOT_MODELLED(put_XmlText(BSTR))
    PALVOLAB_NOT_MODELLED(Remove(VARIANT))
    PALVOLAB_NOT_MODELLED(Clear())
    PALVOLAB_NOT_MODELLED(get_Context(BSTR*))
    PALVOLAB_NOT_MODELLED(put_Context(BSTR))

private:
    SharedTask m_task;
};

} // namespace

IActionCollection* MakeActions(SharedTask task)
{
    return new ActionCollectionObject(std::move(task));
}

} // namespace PalvoLab
