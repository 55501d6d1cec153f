#pragma once

#include "Facts.h"
#include "Finding.h"

#include <functional>

// What the facts mean. Pure: facts in, findings out.

void JudgeSettings(const SettingsFacts& settings, Report& report);
void JudgeSuite(const SuiteFacts& suite, Report& report);
/// Who may write into a folder is a finding of that kind.
void JudgeRights(const RightsFacts& rights, const FindingKind& kind, Report& report);
void JudgeTasks(const Facts& facts, Report& report);
void JudgeChannel(const Facts& facts, Report& report);
void JudgeLog(const Facts& facts, Report& report);
void JudgePrinters(const Facts& facts, Report& report);
void JudgeSessions(const SessionFacts& sessions, Report& report);
void JudgeServices(const ServiceFacts& services, Report& report);
void JudgeWork(const Facts& facts, Report& report);

/// Whether no run has dealt with the event: no newer position was stored, and the log has no later
/// pass for all printers.
bool IsWaiting(const Facts& facts, const EventFact& event);

/// Everything, in the order in which findings are told.
Report Judge(const Facts& facts);

/// What Windows tries before it takes the whole of an unquoted path for the program: what stands
/// before each blank, as it is and with ".exe".
std::vector<std::wstring> PathsOnTheWay(const std::wstring& path);

/// What stands between <name> and </name> where that first occurs, with XML's escapes undone; empty
/// when it does not.
std::wstring XmlText(const std::wstring& xml, const std::wstring& name);

/// 8-4-4-4-12 hexadecimal digits in lower case.
bool IsIdentifier(const std::wstring& text);

/// Each line without its line end, in the machine's ANSI code page. An unfinished last line is left
/// out: somebody may be writing it.
void ForEachLogLine(const std::string& bytes, const std::function<void(const std::wstring&)>& take);

/// A line of the log without its line end; nothing when it is none of the log's.
std::optional<LogEntry> ParseLogLine(const std::wstring& line);

/// Such a line anew, with its line feed and another message.
std::wstring LogLineOf(const LogEntry& entry, const std::wstring& message);

/// Takes a log's bytes apart.
void ParseLog(const std::string& bytes, LogFacts& log);
