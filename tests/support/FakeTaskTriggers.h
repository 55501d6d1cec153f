#pragma once

#include "FakeObject.h"

#include <taskschd.h>

// The triggers of a task's definition. Each writes what is put into it into the definition's list.

/// IEventTrigger with its methods in the published order. Declared here once more, apart from the
/// program's own declaration, so that a wrong order in either is seen.
struct PublishedEventTrigger : public ITrigger
{
    virtual HRESULT STDMETHODCALLTYPE get_Subscription(BSTR* query) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Subscription(BSTR query) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Delay(BSTR* delay) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Delay(BSTR delay) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ValueQueries(IUnknown** namedXPaths) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_ValueQueries(IUnknown* namedXPaths) = 0;
};

class FakeRepetitionPattern final : public FakeObject<IRepetitionPattern>
{
public:
    FakeRepetitionPattern(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"IRepetitionPattern", {L"{7fb9acf1-26be-400e-85b5-294b9c75dfd6}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Interval(BSTR interval) override
    {
        return PutText(definition, L"put_Interval", interval);
    }
    UNUSED_METHOD(get_Interval, BSTR*)
    UNUSED_METHOD(get_Duration, BSTR*)
    UNUSED_METHOD(put_Duration, BSTR)
    UNUSED_METHOD(get_StopAtDurationEnd, VARIANT_BOOL*)
    UNUSED_METHOD(put_StopAtDurationEnd, VARIANT_BOOL)

private:
    Journal& definition;
};

/// What all triggers have.
template <class Interface> class FakeTrigger : public FakeObject<Interface>
{
public:
    FakeTrigger(SchedulerLedger& owner, const wchar_t* interfaceName, const wchar_t* identifier,
                Journal& target)
        : FakeObject<Interface>(owner, interfaceName,
                                {L"{09941815-ea89-4b5b-89e0-2a773801fac3}", identifier}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Id(BSTR id) override
    {
        return this->PutText(definition, L"put_Id", id);
    }
    HRESULT STDMETHODCALLTYPE put_ExecutionTimeLimit(BSTR limit) override
    {
        return this->PutText(definition, L"put_ExecutionTimeLimit", limit);
    }
    HRESULT STDMETHODCALLTYPE put_StartBoundary(BSTR start) override
    {
        return this->PutText(definition, L"put_StartBoundary", start);
    }
    HRESULT STDMETHODCALLTYPE get_Repetition(IRepetitionPattern** repetition) override
    {
        return this->HandOut(
            L"get_Repetition", L"", repetition,
            [this] { return std::make_unique<FakeRepetitionPattern>(this->ledger, definition); });
    }
    UNUSED_METHOD(get_Type, TASK_TRIGGER_TYPE2*)
    UNUSED_METHOD(get_Id, BSTR*)
    UNUSED_METHOD(put_Repetition, IRepetitionPattern*)
    UNUSED_METHOD(get_ExecutionTimeLimit, BSTR*)
    UNUSED_METHOD(get_StartBoundary, BSTR*)
    UNUSED_METHOD(get_EndBoundary, BSTR*)
    UNUSED_METHOD(put_EndBoundary, BSTR)
    UNUSED_METHOD(get_Enabled, VARIANT_BOOL*)
    UNUSED_METHOD(put_Enabled, VARIANT_BOOL)

protected:
    Journal& definition;
};

class FakeEventTrigger final : public FakeTrigger<PublishedEventTrigger>
{
public:
    FakeEventTrigger(SchedulerLedger& owner, Journal& target)
        : FakeTrigger(owner, L"IEventTrigger", L"{d45b0167-9653-4eef-b94f-0732ca7af251}", target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Subscription(BSTR query) override
    {
        return PutText(definition, L"put_Subscription", query);
    }
    UNUSED_METHOD(get_Subscription, BSTR*)
    UNUSED_METHOD(get_Delay, BSTR*)
    UNUSED_METHOD(put_Delay, BSTR)
    UNUSED_METHOD(get_ValueQueries, IUnknown**)
    UNUSED_METHOD(put_ValueQueries, IUnknown*)
};

class FakeDailyTrigger final : public FakeTrigger<IDailyTrigger>
{
public:
    FakeDailyTrigger(SchedulerLedger& owner, Journal& target)
        : FakeTrigger(owner, L"IDailyTrigger", L"{126c5cd8-b288-41d5-8dbf-e491446adc5c}", target)
    {
    }
    UNUSED_METHOD(get_DaysInterval, short*)
    UNUSED_METHOD(put_DaysInterval, short)
    UNUSED_METHOD(get_RandomDelay, BSTR*)
    UNUSED_METHOD(put_RandomDelay, BSTR)
};

class FakeTriggerCollection final : public FakeObject<ITriggerCollection>
{
public:
    FakeTriggerCollection(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"ITriggerCollection", {L"{85df5081-1b24-4f32-878a-d9d14df4cb77}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE Create(TASK_TRIGGER_TYPE2 type, ITrigger** trigger) override;
    UNUSED_METHOD(get_Count, LONG*)
    UNUSED_METHOD(get_Item, LONG, ITrigger**)
    UNUSED_METHOD(get__NewEnum, IUnknown**)
    UNUSED_METHOD(Remove, VARIANT)
    UNUSED_METHOD(Clear)

private:
    Journal& definition;
};
