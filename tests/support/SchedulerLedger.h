#pragma once

#include "Journal.h"
#include "NobodysObject.h"

#include <windows.h>

#include <oleauto.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

// How the task scheduler's double writes values into its journal.
std::wstring Shown(BSTR text);
std::wstring Shown(const VARIANT& value);
std::wstring Shown(const GUID& id);
std::wstring Shown(const void* pointer);
std::wstring Shown(long number);

/// What the task scheduler's double knows: the calls in their order, which of them are to fail,
/// which references and texts were not given back yet, and the tasks that are registered.
class SchedulerLedger
{
public:
    explicit SchedulerLedger(Journal& target) : journal(target) {}

    /// The call number `number`, counted from 1 over all calls that can fail, gives `result`.
    void FailCall(std::size_t number, HRESULT result);
    /// The call number `number` of one function or method gives `result`, once.
    void Fail(const std::wstring& name, HRESULT result, std::size_t number = 1);
    /// Every call of one function or method gives `result`.
    void FailAlways(const std::wstring& name, HRESULT result);
    /// Begins anew: no task is registered, no failure planned, nothing journaled or noted.
    void Reset();
    /// The text number `number`, counted from 1, cannot be allocated; 0 for none.
    std::size_t failingText = 0;

    /// Journals a call and says what it gives.
    HRESULT Call(const std::wstring& name, const std::wstring& arguments);
    /// Something that Windows answers with a crash or with silent damage.
    void Misuse(const std::wstring& what) { misuses.push_back(what); }

    void AddReference() { ++references; }
    void DropReference() { --references; }
    void CheckText(BSTR text);
    BSTR AddText(BSTR text);
    void DropText(BSTR text);

    /// Keeps an object of the double until the ledger's end, so that a call after its last Release
    /// is seen.
    template <class Object> Object* Keep(std::unique_ptr<Object> object)
    {
        Object* const kept = object.get();
        objects.push_back(std::shared_ptr<Object>(std::move(object)));
        return kept;
    }

    Journal& journal;
    NobodysObject nobodys; ///< what the calls that fail leave
    std::vector<std::wstring> misuses;
    long references = 0;  ///< interface references that are not given back
    std::set<BSTR> texts; ///< texts that are not given back
    std::size_t allocatedTexts = 0;
    std::size_t calls = 0;   ///< how many calls could have failed
    int initializations = 0; ///< of COM, less the uninitialisations
    /// The registered tasks: every value that was put into a task's definition, in order.
    std::map<std::wstring, Journal> tasks;

private:
    struct PlannedFailure
    {
        std::wstring name;  ///< empty: every call counts
        std::size_t number; ///< 0: every one fails
        HRESULT result;
        std::size_t seen;
    };

    std::vector<PlannedFailure> failures;
    std::vector<std::shared_ptr<void>> objects;
};
