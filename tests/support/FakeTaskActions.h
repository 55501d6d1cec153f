#pragma once

#include "FakeObject.h"

#include <taskschd.h>

// The actions of a task's definition. Each writes what is put into it into the definition's list.

class FakeExecAction final : public FakeObject<IExecAction>
{
public:
    FakeExecAction(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"IExecAction",
               {L"{bae54997-48b1-4cbe-9965-d6be263ebea4}",
                L"{4c3d624d-fd6b-49a3-b9b7-09cb3cd3f047}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Path(BSTR path) override
    {
        return PutText(definition, L"put_Path", path);
    }
    HRESULT STDMETHODCALLTYPE put_Arguments(BSTR arguments) override
    {
        return PutText(definition, L"put_Arguments", arguments);
    }
    UNUSED_METHOD(get_Id, BSTR*)
    UNUSED_METHOD(put_Id, BSTR)
    UNUSED_METHOD(get_Type, TASK_ACTION_TYPE*)
    UNUSED_METHOD(get_Path, BSTR*)
    UNUSED_METHOD(get_Arguments, BSTR*)
    UNUSED_METHOD(get_WorkingDirectory, BSTR*)
    UNUSED_METHOD(put_WorkingDirectory, BSTR)

private:
    Journal& definition;
};

class FakeActionCollection final : public FakeObject<IActionCollection>
{
public:
    FakeActionCollection(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"IActionCollection", {L"{02820e19-7b98-4ed2-b2e8-fdccceff619b}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE Create(TASK_ACTION_TYPE type, IAction** action) override;
    UNUSED_METHOD(get_Count, LONG*)
    UNUSED_METHOD(get_Item, LONG, IAction**)
    UNUSED_METHOD(get__NewEnum, IUnknown**)
    UNUSED_METHOD(get_XmlText, BSTR*)
    UNUSED_METHOD(put_XmlText, BSTR)
    UNUSED_METHOD(Remove, VARIANT)
    UNUSED_METHOD(Clear)
    UNUSED_METHOD(get_Context, BSTR*)
    UNUSED_METHOD(put_Context, BSTR)

private:
    Journal& definition;
};
