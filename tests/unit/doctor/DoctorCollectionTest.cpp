#include "DoctorFacts.h"

#include "ReportMetrics.h"
#include "ReportText.h"
#include "collect/Collection.h"
#include "collect/HiddenNames.h"
#include "collect/ZipFile.h"

namespace
{
constexpr wchar_t Secret[] = L"Muriel";

ValueFact Text(const std::wstring& text)
{
    ValueFact value = {ERROR_SUCCESS, REG_SZ, {}};
    for (const wchar_t character : text)
    {
        value.bytes.push_back(static_cast<std::uint8_t>(character));
        value.bytes.push_back(0);
    }
    return value;
}

/// A machine on which a name stands wherever a text can stand.
Facts TellingFacts()
{
    const std::wstring name = Secret;
    Facts facts = WellFacts();
    facts.settings = {Text(name), 0, Text(name), Text(name)};
    facts.settings.position.type = REG_QWORD;
    facts.suite.folder = L"C:\\" + name + L"\\Suite of " + name;
    facts.suite.missing = {facts.suite.folder + L"\\PalvoPrinterQuery.exe"};
    facts.suite.onTheWay = {L"C:\\" + name + L"\\Suite.exe"};
    facts.suite.rights = {{{L"C:\\" + name, L"Everyone"}}, {L"C:\\" + name}};
    facts.log.rights = facts.suite.rights;
    facts.tasks.tasks[0].program = L"\"D:\\" + name + L"\\x.exe\"";
    facts.tasks.tasks[0].arguments = L"-c -i " + name;
    facts.tasks.tasks[0].account = L"CORP\\" + name;
    facts.channel.lastEvents = {{name, 5}};
    facts.log.path = L"C:\\" + name + L"\\P.log";
    facts.log.isReadOnly = true;
    facts.log.hasLeftover = true;
    facts.log.entries = {{facts.localTime, 7, L"ERROR: " + name}};
    facts.log.bytes =
        "[3/7/2024 1:05:09 PM Muriel] PalvoPrinterConfiguration(PID4): Muriel\r\nMuriel\r\n";
    PrinterFact printer;
    printer.name = name;
    printer.driver = name;
    printer.driverVersion = 4;
    printer.manifest = L"C:\\" + name;
    printer.platform = name;
    facts.printers.printers = {printer, printer, printer};
    facts.printers.printers[0].openError = 5;
    facts.printers.printers[1].manifestError = 2;
    SessionFact session;
    session.user = name;
    session.sid = name;
    session.writeError = 5;
    session.userId = session.deviceId = session.isAdministrator = session.applications = Text(name);
    facts.sessions.sessions = {session};
    facts.work.logHolders = {name};
    return facts;
}

std::string CollectionOf(const Facts& facts, bool withNames)
{
    return Collect({facts, Judge(facts), {}, L"7", Secret, facts.log.bytes}, withNames);
}

std::vector<const FindingKind*> KindsOf(const Facts& facts)
{
    std::vector<const FindingKind*> kinds;
    for (const Finding& finding : Judge(facts).findings)
    {
        kinds.push_back(finding.kind);
    }
    return kinds;
}

std::wstring Shown(const wchar_t* message)
{
    return HiddenNames().InMessage(message);
}

TEST(DoctorCollection, HidesANameWhereverItStands)
{
    const Facts facts = TellingFacts();
    EXPECT_EQ(CollectionOf(facts, false).find("Muriel"), std::string::npos);
    EXPECT_EQ(CollectionOf(facts, false).find("4d 00 75 00"), std::string::npos)
        << "in hexadecimal";
    EXPECT_NE(CollectionOf(facts, true).find("Muriel"), std::string::npos);
}

TEST(DoctorCollection, HasTheSameFindingsWithAndWithoutNames)
{
    const Facts facts = TellingFacts();
    HiddenNames names;
    const auto kinds = KindsOf(facts);
    EXPECT_EQ(KindsOf(names.In(facts)), kinds);
    EXPECT_EQ(kinds.size(), 21U);
    EXPECT_EQ(FindingsOf(names.In(WellFacts())), L"");
}

TEST(DoctorCollection, SaysWhichFindingWithATokenForEachName)
{
    HiddenNames names;
    const std::wstring findings = FindingsOf(names.In(TellingFacts()));
    for (const wchar_t* line :
         {L"program-missing: There is no C:\\Name 1\\Name 2\\PalvoPrinterQuery.exe.\n",
          L"task-program: The task \"Task\" starts \"\"D:\\Name 1\\Name 4\"\".\n",
          L"task-arguments: The task \"Task\" has the arguments \"-c -i (hidden)\" instead of "
          L"\"-c\".\n",
          L"task-account: The task \"Task\" runs as \"User 1\".\n",
          L"log-errors: Failures in the log within a week: 1, the last \"ERROR: (hidden: 13 "
          L"characters)\".\n",
          L"printer-not-opened: The printer \"Printer 1\" cannot be opened: error 5.\n",
          L"hive-read-only: \"User 1\" may not write the printer property bag: error 5.\n",
          L"bag-value-odd: The value IsAdmin of \"User 1\" is \"(hidden)\".\n",
          L"log-open-elsewhere: Program 1 has the log open.\n"})
    {
        EXPECT_NE(findings.find(line), std::wstring::npos) << line << findings;
    }
}

TEST(DoctorCollection, LeavesOfAMessageWhatNamesNobody)
{
    EXPECT_EQ(Shown(L""), L"");
    EXPECT_EQ(Shown(L"Refresh event done...exiting."), L"Refresh event done...exiting.");
    EXPECT_EQ(Shown(L"Refresh event done...exiting. "), L"(hidden: 30 characters)");
    EXPECT_EQ(Shown(L"# Called with 4 argument(s): -c Muriel -IN -i UserLogonTask"),
              L"# Called with 4 argument(s): -c (hidden) -IN -i UserLogonTask");
    EXPECT_EQ(
        Shown(L"#\tResolved Args: NoNgen, Muriel, NewOrChangedEvent, UserLogonEvent, -i Muriel"),
        L"#\tResolved Args: NoNgen, (hidden), NewOrChangedEvent, UserLogonEvent, -i Caller 1");
    EXPECT_EQ(Shown(L"Found 2 '300/306' events with IDs from 7 to 8."),
              L"Found 2 '300/306' events with IDs from 7 to 8.");
    EXPECT_EQ(Shown(L"Found x '300/306' events with IDs from 7 to 8."), L"(hidden: 46 characters)");
    EXPECT_EQ(
        Shown(L"Updated UserPropertyBag for 'CORP\\Muriel': UserId='1f0a9c10', Src='Muriel : pc'"),
        L"Updated UserPropertyBag for 'User 1': UserId='(hidden)', Src='(hidden)'");
    EXPECT_EQ(Shown(L"Updated UserPropertyBags: DeviceId='00000000-0000-0000-0000-000000000000', "
                    L"Src=' :  : pc.corp'"),
              L"Updated UserPropertyBags: DeviceId='00000000-0000-0000-0000-000000000000', "
              L"Src=' :  : (hidden)'");
    EXPECT_EQ(Shown(L"ERROR: Failed to add driver instance for 'Muriel': HRESULT=0x80070002"),
              L"ERROR: Failed to add driver instance for '(hidden)': HRESULT=0x80070002");
}

TEST(DoctorCollection, GivesANameOneTokenInWhateverCase)
{
    HiddenNames names;
    const auto printer = [&names](const std::wstring& name)
    {
        return names.InMessage(L"# Processing a configuration request from a NewOrChanged event "
                               L"event for '" +
                               name + L"'.");
    };
    EXPECT_EQ(printer(L"Front"), printer(L"FRONT"));
    EXPECT_NE(printer(L"Front"), printer(L"Back"));
}

TEST(DoctorCollection, WritesALogsLinesAnew)
{
    EXPECT_EQ(
        HiddenNames().InLog("[3/7/2024 1:05:09 PM Muriel] PalvoPrinterConfiguration(PID4): \r\n"
                            "x\n[12/7/2024 12:00:00 AM] PalvoPrinterConfiguration(PID41): # y\r\n"
                            "[unfinished"),
        L"[3/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID4): \n(hidden: 1 characters)\n"
        L"[12/7/2024 12:00:00 AM] PalvoPrinterConfiguration(PID41): (hidden: 3 characters)\n");
}

TEST(DoctorCollection, HasTheChecksumsOfZips)
{
    EXPECT_EQ(Crc32(""), 0U);
    EXPECT_EQ(Crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(ZipFile(0).Bytes(), std::string("PK\5\6", 4) + std::string(18, '\0'));
}

TEST(DoctorMetrics, EscapeLabels)
{
    EXPECT_EQ(MetricLabel(L"a\\b\"c\nd\u65e5"), L"a\\\\b\\\"c\\nd\u65e5");
}

TEST(DoctorMetrics, LeaveOutWhatCouldNotBeSeen)
{
    Facts facts = WellFacts();
    facts.utcTime = 116'444'736'000'000'000 + 7 * Second;
    facts.channel.newestPrinterEvent = {8, facts.utcTime - 90 * Second};
    const std::wstring all = ReportAsMetrics(facts, Judge(facts), L"7");
    EXPECT_NE(all.find(L"\npalvo_printer_doctor_look_timestamp_seconds 7\n"), std::wstring::npos);
    EXPECT_NE(all.find(L"\npalvo_printer_doctor_printer_event_waiting_seconds 90\n"),
              std::wstring::npos);
    facts.channel.openError = 5;
    facts.channel.queryError = 5;
    facts.log.freeBytes.reset();
    const std::wstring some = ReportAsMetrics(facts, Judge(facts), L"7");
    for (const wchar_t* name :
         {L"channel_enabled", L"channel_newest_record", L"log_disk_free_bytes"})
    {
        EXPECT_NE(all.find(name), std::wstring::npos) << name;
        EXPECT_EQ(some.find(name), std::wstring::npos) << name;
    }
}
} // namespace
