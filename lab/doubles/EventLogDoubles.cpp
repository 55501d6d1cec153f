// Doubles of the event log's reading functions.
#include "DoubleTable.h"
#include "EventHandles.h"
#include "Impersonation.h"
#include "OddReads.h"

#include "CallRecord.h"
#include "Text.h"
#include "Turn.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace PalvoLab
{
namespace
{

constexpr DWORD kMostEvents = 0x10000;

// How many events a batch holds at most, of those that were asked for: Windows gives fewer whenever
// it likes, in the middle of a result too. A program that takes a short batch for the end loses
// what is behind it.
DWORD BatchSize(DWORD wanted, std::size_t batch)
{
    const std::array<DWORD, 4> most = {2, wanted, 1, wanted / 2 + 1};
    return std::min(wanted, most[batch % most.size()]);
}

// Finds the channel and parses the query. Returns the error, 0 for none.
DWORD Prepare(LPCWSTR path, LPCWSTR query, std::optional<EventChannel>& channel,
              std::optional<XPath>& xpath)
{
    if (path == nullptr || *path == L'\0')
    {
        return ERROR_INVALID_PARAMETER;
    }
    channel = EventChannel::Find(path);
    if (!channel)
    {
        return kChannelNotFound;
    }
    if (channel->Name() == kSecurityChannel && !EffectiveIdentity().isAdministrator)
    {
        return ERROR_ACCESS_DENIED;
    }
    xpath = XPath::ParseQuery(query == nullptr ? L"*" : query);
    return xpath ? ERROR_SUCCESS : kInvalidQuery;
}

EVT_HANDLE WINAPI DoubleEvtQuery(EVT_HANDLE session, LPCWSTR path, LPCWSTR query, DWORD flags)
{
    TakeTurn(L"EvtQuery channel");
    const RecordInOrder order;
    Call call(L"EvtQuery", path, query, flags);
    constexpr DWORD known = EvtQueryChannelPath | EvtQueryFilePath | EvtQueryForwardDirection |
                            EvtQueryReverseDirection | EvtQueryTolerateQueryErrors;
    constexpr DWORD directions = EvtQueryForwardDirection | EvtQueryReverseDirection;
    if (session != nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE, EVT_HANDLE{nullptr});
    }
    // Exported log files are not modelled: a path is a channel's.
    if ((flags & ~known) != 0 || (flags & directions) == directions ||
        (flags & (EvtQueryChannelPath | EvtQueryFilePath)) != EvtQueryChannelPath)
    {
        return call.Fail(ERROR_INVALID_PARAMETER, EVT_HANDLE{nullptr});
    }
    std::optional<EventChannel> channel;
    std::optional<XPath> xpath;
    if (const DWORD error = Prepare(path, query, channel, xpath); error != ERROR_SUCCESS)
    {
        return call.Fail(error, EVT_HANDLE{nullptr});
    }
    auto result = std::make_unique<ResultSet>(*channel);
    result->generation = channel->Generation();
    result->events = channel->Select(&*xpath);
    if ((flags & EvtQueryReverseDirection) != 0)
    {
        std::reverse(result->events.begin(), result->events.end());
    }
    return call.Return(OpenEventHandle(std::move(result)));
}

BOOL WINAPI DoubleEvtNext(EVT_HANDLE handle, DWORD size, EVT_HANDLE* events, DWORD timeout,
                          DWORD flags, PDWORD returned)
{
    Call call(L"EvtNext", handle, size, timeout, flags);
    auto* result = FindEventHandle<ResultSet>(handle);
    if (result == nullptr)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (events == nullptr || returned == nullptr || size == 0 || size > kMostEvents || flags != 0)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    *returned = 0;
    if (result->generation != result->channel.Generation())
    {
        return call.Fail(kStaleResult);
    }
    const std::size_t count = std::min<std::size_t>(BatchSize(size, result->batches),
                                                    result->events.size() - result->next);
    ++result->batches;
    if (count == 0)
    {
        return call.Fail(ERROR_NO_MORE_ITEMS);
    }
    for (std::size_t i = 0; i < count; ++i)
    {
        auto event = std::make_unique<EventObject>();
        event->channel = result->channel.Name();
        event->event = result->events[result->next++];
        events[i] = OpenEventHandle(std::move(event));
    }
    *returned = static_cast<DWORD>(count);
    call.Add(*returned);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleEvtClose(EVT_HANDLE handle)
{
    Call call(L"EvtClose", handle);
    return CloseEventHandle(handle) ? call.Return(TRUE) : call.Fail(ERROR_INVALID_HANDLE);
}

EVT_HANDLE WINAPI DoubleEvtCreateRenderContext(DWORD count, LPCWSTR* paths, DWORD flags)
{
    Call call(L"EvtCreateRenderContext", count, flags);
    const bool wantsPaths = flags == EvtRenderContextValues;
    if (flags > EvtRenderContextUser || wantsPaths != (count != 0) ||
        wantsPaths != (paths != nullptr))
    {
        return call.Fail(ERROR_INVALID_PARAMETER, EVT_HANDLE{nullptr});
    }
    if (!wantsPaths)
    {
        // The fixed sets of values are not modelled.
        return call.Fail(ERROR_NOT_SUPPORTED, EVT_HANDLE{nullptr});
    }
    auto context = std::make_unique<RenderContext>();
    for (DWORD i = 0; i < count; ++i)
    {
        auto path = XPath::ParseQuery(paths[i] == nullptr ? L"" : paths[i]);
        if (!path)
        {
            return call.Fail(kInvalidQuery, EVT_HANDLE{nullptr});
        }
        context->paths.push_back(std::move(*path));
    }
    return call.Return(OpenEventHandle(std::move(context)));
}

EVT_VARIANT_TYPE VariantType(EventTree::ValueKind kind)
{
    switch (kind)
    {
    case EventTree::ValueKind::Text:
        return EvtVarTypeString;
    case EventTree::ValueKind::UInt8:
        return EvtVarTypeByte;
    case EventTree::ValueKind::UInt16:
        return EvtVarTypeUInt16;
    case EventTree::ValueKind::UInt32:
        return EvtVarTypeUInt32;
    case EventTree::ValueKind::UInt64:
        return EvtVarTypeUInt64;
    case EventTree::ValueKind::FileTime:
        return EvtVarTypeFileTime;
    case EventTree::ValueKind::HexInt64:
        return EvtVarTypeHexInt64;
    case EventTree::ValueKind::Empty:
        break;
    }
    return EvtVarTypeNull;
}

// Fills one variant. Only as many bytes of the number are written as its type has: the rest of the
// union is left as garbage, as a program must expect.
void FillVariant(EVT_VARIANT& variant, const EventTree::Node* node, BYTE*& place)
{
    std::memset(&variant, 0xCC, sizeof variant);
    variant.Count = 0;
    variant.Type = EvtVarTypeNull;
    if (node == nullptr)
    {
        return;
    }
    variant.Type = static_cast<DWORD>(VariantType(node->kind));
    switch (node->kind)
    {
    case EventTree::ValueKind::Text:
        variant.StringVal = reinterpret_cast<LPCWSTR>(place);
        std::memcpy(place, node->text.data(), node->text.size() * sizeof(wchar_t));
        place += node->text.size() * sizeof(wchar_t);
        std::memset(place, 0, sizeof(wchar_t));
        place += sizeof(wchar_t);
        break;
    case EventTree::ValueKind::UInt8:
        variant.ByteVal = static_cast<UINT8>(node->number);
        break;
    case EventTree::ValueKind::UInt16:
        variant.UInt16Val = static_cast<UINT16>(node->number);
        break;
    case EventTree::ValueKind::UInt32:
        variant.UInt32Val = static_cast<UINT32>(node->number);
        break;
    default:
        variant.UInt64Val = node->number;
        break;
    }
}

// Every value is there and says that it is none.
void ForgetTypes(EVT_VARIANT* variants, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        variants[i] = {};
        variants[i].Type = EvtVarTypeNull;
    }
}

BOOL WINAPI DoubleEvtRender(EVT_HANDLE contextHandle, EVT_HANDLE fragment, DWORD flags, DWORD size,
                            PVOID buffer, PDWORD used, PDWORD propertyCount)
{
    Call call(L"EvtRender", contextHandle, fragment, flags, size);
    const bool hasWrongTypes = TakeOddRead().has_value();
    const auto* event = FindEventHandle<EventObject>(fragment);
    const auto* context = FindEventHandle<RenderContext>(contextHandle);
    if (event == nullptr || (flags == EvtRenderEventValues && context == nullptr))
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (used == nullptr || propertyCount == nullptr || flags > EvtRenderBookmark)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (flags != EvtRenderEventValues)
    {
        // XML and bookmarks are not modelled.
        return call.Fail(ERROR_NOT_SUPPORTED);
    }
    EventTree tree;
    FillTree(event->event, event->channel, tree);
    std::vector<const EventTree::Node*> nodes;
    std::size_t needed = context->paths.size() * sizeof(EVT_VARIANT);
    for (const XPath& path : context->paths)
    {
        const int node = path.FirstNode(tree);
        nodes.push_back(node == EventTree::kNone ? nullptr : &tree[node]);
        if (nodes.back() != nullptr && nodes.back()->kind == EventTree::ValueKind::Text)
        {
            needed += (nodes.back()->text.size() + 1) * sizeof(wchar_t);
        }
    }
    *used = static_cast<DWORD>(needed);
    *propertyCount = 0;
    if (buffer == nullptr || size < needed)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    auto* variants = static_cast<EVT_VARIANT*>(buffer);
    BYTE* place = static_cast<BYTE*>(buffer) + nodes.size() * sizeof(EVT_VARIANT);
    for (std::size_t i = 0; i < nodes.size(); ++i)
    {
        FillVariant(variants[i], nodes[i], place);
    }
    if (hasWrongTypes)
    {
        ForgetTypes(variants, nodes.size());
    }
    *propertyCount = static_cast<DWORD>(nodes.size());
    call.Add(event->event.recordId);
    return call.Return(TRUE);
}

} // namespace

void AddEventLogDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtQuery);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtNext);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtClose);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtCreateRenderContext);
    PALVOLAB_DOUBLE(list, "WEVTAPI", EvtRender);
}

} // namespace PalvoLab
