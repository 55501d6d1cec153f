#include "TaskChecks.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "SchedulerTime.h"
#include "Subscription.h"
#include "Text.h"

#include <sddl.h>

namespace PalvoLab
{
namespace
{

using namespace SchedulerResult;

Verdict Good()
{
    return {};
}

bool IsBadDuration(const PropertyBag& bag, const wchar_t* name)
{
    const auto text = bag.Text(name);
    return text && !ParseDuration(*text);
}

bool IsBadBoundary(const PropertyBag& bag, const wchar_t* name)
{
    const auto text = bag.Text(name);
    return text && !ParseBoundary(*text);
}

Verdict CheckSubscription(const PropertyBag& trigger)
{
    const auto text = trigger.Text(L"Subscription");
    if (!text || text->empty())
    {
        return {MissingNode, L"the event trigger has no subscription"};
    }
    SubscriptionError error;
    const auto subscription = Subscription::Parse(*text, &error);
    if (!subscription)
    {
        return {InvalidQuery, L"subscription: " + error.reason};
    }
    for (const std::wstring& channel : subscription->Channels())
    {
        if (!EventChannel::Find(channel))
        {
            return {UnknownChannel, L"subscription: no channel " + channel};
        }
    }
    return Good();
}

Verdict CheckRepetition(const PropertyBag& repetition)
{
    constexpr std::uint64_t shortest = 60;
    constexpr std::uint64_t longest = 31 * 24 * 60 * 60;
    const auto interval = repetition.Text(L"Interval");
    const auto duration = repetition.Text(L"Duration");
    if (!interval)
    {
        return duration ? Verdict{MissingNode, L"a repetition without an interval"} : Good();
    }
    const auto seconds = ParseDuration(*interval);
    if (!seconds || *seconds < shortest || *seconds > longest)
    {
        return {InvalidValue, L"repetition interval: " + *interval};
    }
    if (duration && ParseDuration(*duration).value_or(0) <= *seconds)
    {
        return {InvalidValue, L"repetition duration: " + *duration};
    }
    return Good();
}

Verdict CheckTrigger(const TriggerData& trigger)
{
    for (const wchar_t* name : {L"StartBoundary", L"EndBoundary"})
    {
        if (IsBadBoundary(trigger.properties, name))
        {
            return {InvalidValue, std::wstring(name) + L" is no date"};
        }
    }
    if (IsBadDuration(trigger.properties, L"ExecutionTimeLimit"))
    {
        return {InvalidValue, L"the trigger's ExecutionTimeLimit is no duration"};
    }
    if (trigger.type == TASK_TRIGGER_EVENT)
    {
        const Verdict verdict = CheckSubscription(trigger.properties);
        if (FAILED(verdict.result))
        {
            return verdict;
        }
    }
    else if (!trigger.properties.Text(L"StartBoundary"))
    {
        return {MissingNode, L"the daily trigger has no start boundary"};
    }
    return CheckRepetition(trigger.repetition);
}

} // namespace

Verdict CheckDefinition(const TaskData& task)
{
    if (IsBadDuration(task.settings, L"ExecutionTimeLimit"))
    {
        return {InvalidValue, L"ExecutionTimeLimit is no duration"};
    }
    for (const auto& trigger : task.triggers)
    {
        const Verdict verdict = CheckTrigger(*trigger);
        if (FAILED(verdict.result))
        {
            return verdict;
        }
    }
    if (task.actions.empty())
    {
        return {MissingNode, L"no action"};
    }
    for (const auto& action : task.actions)
    {
        if (action->properties.Text(L"Path").value_or(L"").empty())
        {
            return {MissingNode, L"an action without a program"};
        }
    }
    return Good();
}

Verdict CheckAccount(const std::wstring& user, TASK_LOGON_TYPE logonType)
{
    if (logonType != TASK_LOGON_SERVICE_ACCOUNT)
    {
        return {E_NOTIMPL, L"a logon type that is not modelled"};
    }
    const std::size_t slash = user.find(L'\\');
    const bool hasDomain = slash != std::wstring::npos;
    const auto identity = FindIdentity(hasDomain ? user.substr(slash + 1) : user);
    const bool isKnown = identity && identity->isService &&
                         (!hasDomain || EqualNoCase(user.substr(0, slash), identity->domain));
    return isKnown ? Good() : Verdict{UnknownAccount, L"no service account " + user};
}

Verdict CheckDescriptor(const std::wstring& text)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (text.empty())
    {
        return Good();
    }
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                              &descriptor, nullptr))
    {
        return {FromWindows(GetLastError()), L"security descriptor: " + text};
    }
    LocalFree(descriptor);
    return Good();
}

bool MayChangeTasks()
{
    return ProcessIdentity().isAdministrator;
}

} // namespace PalvoLab
