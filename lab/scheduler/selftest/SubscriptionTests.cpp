#include "Check.h"

#include "Subscription.h"
#include "XmlTree.h"

using namespace PalvoLab;

namespace
{

constexpr wchar_t kPrinters[] =
    L"<QueryList><Query Id=\"0\" Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"<Select Path=\"Microsoft-Windows-PrintService/Operational\">"
    L"*[System[Provider[@Name='Microsoft-Windows-PrintService'] and "
    L"(EventID=300 or EventID=306)]]</Select></Query></QueryList>";

std::wstring LogonQuery(const std::wstring& more)
{
    return L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select Path=\"Security\">"
           L"*[System[(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
           L"*[EventData[Data[@Name='LogonType']='2']])" +
           more + L"</Select></Query></QueryList>";
}

constexpr wchar_t kNotElevated[] = L" and *[EventData[Data[@Name='ElevatedToken']='%%1843']] and "
                                   L"*[EventData[Data[@Name='VirtualAccount']='%%1843']]";

Event Logon(unsigned type, const wchar_t* elevated, const wchar_t* isVirtual)
{
    Event event = LogonEvent(L"alice", L"LAB", type);
    if (elevated != nullptr)
    {
        event.parameters.emplace_back(L"ElevatedToken", elevated);
        event.parameters.emplace_back(L"VirtualAccount", isVirtual);
    }
    return event;
}

bool Selects(const std::wstring& query, const Event& event, const wchar_t* channel)
{
    const auto subscription = Subscription::Parse(query);
    return subscription && subscription->Selects(event, channel);
}

std::wstring Reason(const std::wstring& query)
{
    SubscriptionError error;
    return Subscription::Parse(query, &error) ? L"accepted" : error.reason;
}

} // namespace

LAB_TEST(PrinterSubscriptionSelectsItsTwoEventsInItsChannel)
{
    CHECK(Selects(kPrinters, PrinterCreatedEvent(L"A"), kPrintChannel));
    CHECK(Selects(kPrinters, PrinterSetEvent(L"A"), kPrintChannel));
    CHECK(!Selects(kPrinters, PrinterSetEvent(L"A"), kSecurityChannel));
    Event printed = PrinterSetEvent(L"A");
    printed.id = 307;
    CHECK(!Selects(kPrinters, printed, kPrintChannel));
}

LAB_TEST(AnEventOfAnotherChannelIsNotSelected)
{
    const std::wstring query = L"<QueryList><Query Id='0' Path='Application'><Select "
                               L"Path='Security'>*[System]</Select></Query></QueryList>";
    CHECK(Selects(query, PrinterSetEvent(L"A"), kSecurityChannel));
    CHECK(!Selects(query, PrinterSetEvent(L"A"), kPrintChannel));
    CHECK(!Selects(query, PrinterSetEvent(L"A"), L"Application"));
}

LAB_TEST(LogonSubscriptionSelectsTypesTwoAndTen)
{
    CHECK(Selects(LogonQuery(L""), Logon(2, nullptr, nullptr), kSecurityChannel));
    CHECK(Selects(LogonQuery(L""), Logon(10, nullptr, nullptr), kSecurityChannel));
    CHECK(!Selects(LogonQuery(L""), Logon(5, nullptr, nullptr), kSecurityChannel));
    Event other = Logon(2, nullptr, nullptr);
    other.id = 4625;
    CHECK(!Selects(LogonQuery(L""), other, kSecurityChannel));
}

LAB_TEST(LogonSubscriptionOfWindows10WantsNeitherElevatedNorVirtual)
{
    const std::wstring query = LogonQuery(kNotElevated);
    CHECK(Selects(query, Logon(2, L"%%1843", L"%%1843"), kSecurityChannel));
    CHECK(!Selects(query, Logon(2, L"%%1842", L"%%1843"), kSecurityChannel));
    CHECK(!Selects(query, Logon(2, L"%%1843", L"%%1842"), kSecurityChannel));
    CHECK(!Selects(query, Logon(2, nullptr, nullptr), kSecurityChannel));
    CHECK(!Selects(query, Logon(3, L"%%1843", L"%%1843"), kSecurityChannel));
}

LAB_TEST(SubscriptionsThatAreNoXmlAreRefused)
{
    for (const wchar_t* bad :
         {L"", L"text", L"<QueryList>", L"<QueryList><Query Path='Security'></QueryList>",
          L"<QueryList/><QueryList/>",
          L"<QueryList><Query Path='x'><Select>a < b</Select></Query>"
          L"</QueryList>",
          L"<QueryList a=1/>"})
    {
        CHECK(Reason(bad) == L"not well-formed XML");
    }
}

LAB_TEST(SubscriptionsThatTheLabCannotObeyAreRefused)
{
    const auto wrap = [](const std::wstring& inner)
    { return L"<QueryList><Query Id='0' Path='Security'>" + inner + L"</Query></QueryList>"; };
    CHECK(Reason(wrap(L"<Select>*[System]</Select>")) == L"accepted");
    CHECK(Reason(wrap(L"<Suppress>*[System]</Suppress>")) != L"accepted");
    CHECK(Reason(wrap(L"<Select>*[System[timediff(@SystemTime)]]</Select>")) != L"accepted");
    CHECK(Reason(wrap(L"<Select>*[System] and</Select>")) != L"accepted");
    CHECK(Reason(wrap(L"<Select>*]x[System</Select>")) != L"accepted");
    CHECK(Reason(wrap(L"<Select></Select>")) != L"accepted");
    CHECK(Reason(wrap(L"")) != L"accepted");
    CHECK(Reason(L"<QueryList/>") != L"accepted");
    CHECK(Reason(L"<Other/>") != L"accepted");
}

LAB_TEST(XmlEntitiesAreReadAndWritten)
{
    const auto root = ParseXml(L"<a b=\"&lt;\">x &amp; y<c/></a>");
    CHECK(root && root->name == L"a" && root->text == L"x & y" && root->children.size() == 1);
    CHECK(root && root->Attribute(L"b") != nullptr && *root->Attribute(L"b") == L"<");
    CHECK(EscapeXml(L"<a b=\"c\">&") == L"&lt;a b=&quot;c&quot;&gt;&amp;");
}
