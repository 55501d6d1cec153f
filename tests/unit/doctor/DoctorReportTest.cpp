#include "ReportText.h"

namespace
{
constexpr FindingKind Kind = {L"some-id", L"Why so.", L"Do so."};

TEST(DoctorReport, SaysWhatNeedsAttentionBeforeWhatWasNotSeen)
{
    Report report;
    EXPECT_EQ(report.ExitCode(), 0);
    report.NotSeen(L"area", L"Reason.");
    EXPECT_EQ(report.ExitCode(), 2);
    EXPECT_EQ(ReportAsText(report),
              L"not seen: area: Reason.\nNot everything could be looked at.\n");
    report.asSystem = false;
    EXPECT_EQ(ReportAsText(report),
              L"not seen: area: Reason.\nNot everything could be looked at. Run the doctor as "
              L"SYSTEM.\n");
    report.Find(Kind, L"What.");
    EXPECT_EQ(report.ExitCode(), 1);
    EXPECT_EQ(ReportAsText(report), L"some-id: What. Why: Why so. Do: Do so.\nnot seen: area: "
                                    L"Reason.\n1 thing needs attention.\n");
}

TEST(DoctorReport, KeepsAFindingOnOneLineWhateverItsNamesHold)
{
    Report report;
    report.Find(Kind, L"A\r\nB\x7F%s.");
    EXPECT_EQ(ReportAsText(report), L"some-id: A??B?%s. Why: Why so. Do: Do so.\n1 thing needs "
                                    L"attention.\n");
}

TEST(DoctorReport, WritesJsonInAscii)
{
    Report report;
    report.Find(Kind, L"A \"b\" \\ \n \u65e5 %s.");
    report.Tell(L"printer", L"x");
    EXPECT_EQ(ReportAsJson(report, L"PC", L"2024-03-07T01:02:03Z"),
              L"{\"schema\":1,\n\"computer\":\"PC\",\n\"time\":\"2024-03-07T01:02:03Z\",\n"
              L"\"code\":1,\n\"findings\":[\n  {\"id\":\"some-id\",\"what\":\"A \\\"b\\\" \\\\ "
              L"\\u000a \\u65e5 %s.\",\"why\":\"Why so.\",\"do\":\"Do so.\"}],\n\"unseen\":[],\n"
              L"\"notes\":[\n  {\"topic\":\"printer\",\"text\":\"x\"}]}\n");
}
} // namespace
