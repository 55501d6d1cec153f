#include "Command.h"

#include "LabState.h"
#include "Owners.h"
#include "SiblingStore.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kMissing[] = L".missing";

bool SetPresent(SiblingKind kind, bool present)
{
    const std::wstring path = ProgramFolder() + SiblingFile(kind);
    const std::wstring hidden = path + kMissing;
    const bool isPresent = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (isPresent == present)
    {
        return true;
    }
    return MoveFileW(present ? hidden.c_str() : path.c_str(),
                     present ? path.c_str() : hidden.c_str()) != FALSE;
}

// "100" or "100-300".
bool ParseTake(const std::wstring& text, SiblingOrders& orders)
{
    const std::vector<std::wstring> parts = Split(text, L'-');
    const auto from = ParseNumber(parts[0]);
    const auto to = parts.size() == 2 ? ParseNumber(parts[1]) : from;
    if (!from || !to || parts.size() > 2)
    {
        return false;
    }
    orders.takeMilliseconds = static_cast<std::uint32_t>(*from);
    orders.takeAtMost = static_cast<std::uint32_t>(*to);
    return true;
}

void Signal(SiblingKind kind, bool released)
{
    const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, ReleaseEventName(kind).c_str()));
    if (released)
    {
        SetEvent(event.Get());
    }
    else
    {
        ResetEvent(event.Get());
    }
}

} // namespace

int RunSibling(const Arguments& given)
{
    Arguments arguments = given;
    const auto kind = arguments.empty() ? std::nullopt : ParseSiblingKind(arguments[0]);
    if (!kind || arguments.size() == 1)
    {
        return Misused(L"sibling");
    }
    arguments.erase(arguments.begin());
    SiblingOrders orders = LoadOrders(*kind);
    const auto take = TakeOption(arguments, L"--take");
    if (take && !ParseTake(*take, orders))
    {
        return Misused(L"sibling");
    }
    if (const auto code = TakeOption(arguments, L"--return"))
    {
        const auto number = ParseNumber(*code);
        if (!number)
        {
            return Misused(L"sibling");
        }
        orders.returnCode = static_cast<std::uint32_t>(*number);
    }
    if (const auto printer = TakeOption(arguments, L"--changes"))
    {
        const auto times = ParseNumber(TakeOption(arguments, L"--times").value_or(L"1"));
        if (!times)
        {
            return Misused(L"sibling");
        }
        OrderChanges(*kind, ReplaceEscapes(*printer), static_cast<std::uint32_t>(*times));
    }
    orders.eventToPost = TakeOption(arguments, L"--posts").value_or(orders.eventToPost);
    const bool hold = TakeFlag(arguments, L"--hold");
    const bool holdNoMore = TakeFlag(arguments, L"--hold-no-more");
    const bool release = TakeFlag(arguments, L"--release");
    const bool missing = TakeFlag(arguments, L"--missing");
    const bool present = TakeFlag(arguments, L"--present");
    if (!arguments.empty() || hold + holdNoMore + release > 1 || (missing && present))
    {
        return Misused(L"sibling");
    }
    orders.hold = hold || (orders.hold && !release && !holdNoMore);
    SaveOrders(*kind, orders);
    if (hold || release)
    {
        Signal(*kind, release);
    }
    if ((missing || present) && !SetPresent(*kind, present))
    {
        return Complain(SiblingFile(*kind) + L" cannot be renamed: error " +
                        std::to_wstring(GetLastError()));
    }
    return kDone;
}

} // namespace PalvoLab
