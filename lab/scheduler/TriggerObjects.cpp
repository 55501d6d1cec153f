// ITriggerCollection, the event trigger, the daily trigger and its repetition.
#include "ComObject.h"
#include "DefinitionObjects.h"

namespace PalvoLab
{
namespace
{

using SharedTrigger = std::shared_ptr<TriggerData>;

class RepetitionObject final : public PropertyObject<IRepetitionPattern>
{
public:
    explicit RepetitionObject(const SharedTrigger& trigger)
        : PropertyObject(L"IRepetitionPattern", {IID_IRepetitionPattern},
                         std::shared_ptr<PropertyBag>(trigger, &trigger->repetition))
    {
    }

    PALVOLAB_TEXT_PROPERTY(Interval)
    PALVOLAB_TEXT_PROPERTY(Duration)
    PALVOLAB_TRUTH_PROPERTY(StopAtDurationEnd, VARIANT_FALSE)
};

// What every kind of trigger has.
template <typename Interface> class TriggerObject : public PropertyObject<Interface>
{
public:
    TriggerObject(const wchar_t* name, const IID& id, SharedTrigger trigger)
        : PropertyObject<Interface>(name, {IID_ITrigger, id},
                                    std::shared_ptr<PropertyBag>(trigger, &trigger->properties)),
          m_trigger(std::move(trigger))
    {
    }

    STDMETHODIMP get_Type(TASK_TRIGGER_TYPE2* type) override
    {
        return this->Perform(L"get_Type",
                             [&]() -> HRESULT
                             {
                                 if (type == nullptr)
                                 {
                                     return E_POINTER;
                                 }
                                 *type = static_cast<TASK_TRIGGER_TYPE2>(m_trigger->type);
                                 return S_OK;
                             });
    }

    STDMETHODIMP get_Repetition(IRepetitionPattern** out) override
    {
        return this->Perform(L"get_Repetition",
                             [&]() -> HRESULT {
                                 return out == nullptr
                                            ? E_POINTER
                                            : this->HandOut(out, new RepetitionObject(m_trigger));
                             });
    }

    PALVOLAB_TEXT_PROPERTY(Id)
    PALVOLAB_TEXT_PROPERTY(ExecutionTimeLimit)
    PALVOLAB_TEXT_PROPERTY(StartBoundary)
    PALVOLAB_TEXT_PROPERTY(EndBoundary)
    PALVOLAB_TRUTH_PROPERTY(Enabled, VARIANT_TRUE)
    PALVOLAB_NOT_MODELLED(put_Repetition(IRepetitionPattern*))

private:
    SharedTrigger m_trigger;
};

class EventTriggerObject final : public TriggerObject<IEventTrigger>
{
public:
    explicit EventTriggerObject(SharedTrigger trigger)
        : TriggerObject(L"IEventTrigger", IID_EventTrigger, std::move(trigger))
    {
    }

    PALVOLAB_TEXT_PROPERTY(Subscription)
    PALVOLAB_NOT_MODELLED(get_Delay(BSTR*))
    PALVOLAB_NOT_MODELLED(put_Delay(BSTR))
    PALVOLAB_NOT_MODELLED(get_ValueQueries(ITaskNamedValueCollection**))
    PALVOLAB_NOT_MODELLED(put_ValueQueries(ITaskNamedValueCollection*))
};

class DailyTriggerObject final : public TriggerObject<IDailyTrigger>
{
public:
    explicit DailyTriggerObject(SharedTrigger trigger)
        : TriggerObject(L"IDailyTrigger", IID_IDailyTrigger, std::move(trigger))
    {
    }

    PALVOLAB_NUMBER_PROPERTY(DaysInterval, short, 1, 1, 365)
    PALVOLAB_NOT_MODELLED(get_RandomDelay(BSTR*))
    PALVOLAB_NOT_MODELLED(put_RandomDelay(BSTR))
};

ITrigger* MakeTrigger(const SharedTrigger& trigger)
{
    if (trigger->type == TASK_TRIGGER_EVENT)
    {
        return new EventTriggerObject(trigger);
    }
    return new DailyTriggerObject(trigger);
}

class TriggerCollectionObject final : public ComObject<ITriggerCollection>
{
public:
    explicit TriggerCollectionObject(SharedTask task)
        : ComObject(L"ITriggerCollection", {IID_ITriggerCollection}), m_task(std::move(task))
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
                           *count = static_cast<LONG>(m_task->triggers.size());
                           return S_OK;
                       });
    }

    STDMETHODIMP Create(TASK_TRIGGER_TYPE2 type, ITrigger** out) override
    {
        const auto create = [&]() -> HRESULT
        {
            if (out == nullptr)
            {
                return E_POINTER;
            }
            *out = nullptr;
            if (type < TASK_TRIGGER_EVENT || type > kLastType || type == kUnusedType)
            {
                return E_INVALIDARG;
            }
            if (type != TASK_TRIGGER_EVENT && type != TASK_TRIGGER_DAILY)
            {
                return E_NOTIMPL;
            }
            auto trigger = std::make_shared<TriggerData>();
            trigger->type = type;
            m_task->triggers.push_back(trigger);
            return HandOut(out, MakeTrigger(trigger));
        };
        return Perform(L"Create", create, static_cast<std::uint32_t>(type));
    }

    STDMETHODIMP get_Item(LONG index, ITrigger** out) override
    {
        const auto get = [&]() -> HRESULT
        {
            if (out == nullptr)
            {
                return E_POINTER;
            }
            if (index < 1 || index > static_cast<LONG>(m_task->triggers.size()))
            {
                return E_INVALIDARG;
            }
            return HandOut(out, MakeTrigger(m_task->triggers[static_cast<std::size_t>(index - 1)]));
        };
        return Perform(L"get_Item", get, std::to_wstring(index));
    }

    PALVOLAB_NOT_MODELLED(get__NewEnum(IUnknown**))
    PALVOLAB_NOT_MODELLED(Remove(VARIANT))
    PALVOLAB_NOT_MODELLED(Clear())

private:
    static constexpr int kUnusedType = 10;
    static constexpr int kLastType = 12;

    SharedTask m_task;
};

} // namespace

ITriggerCollection* MakeTriggers(SharedTask task)
{
    return new TriggerCollectionObject(std::move(task));
}

} // namespace PalvoLab
