#pragma once

#include "Facts.h"

/// Puts tokens such as "Printer 2" in the place of what may name somebody. Nothing passes that is
/// not known to be harmless: what is not on a list is hidden. One name has one token for the life
/// of this object, in whatever case it is written.
class HiddenNames
{
public:
    /// All that the looks found. The findings made of it are the same, but for the names.
    Facts In(const Facts& facts);

    /// A message of the log: a form that the program has, with its values hidden as they need;
    /// another one is hidden whole.
    std::wstring InMessage(const std::wstring& message);

    /// A log's bytes, with other lines hidden whole. ASCII, with "\n".
    std::wstring InLog(const std::string& bytes);

private:
    std::wstring Token(const std::wstring& kind, const std::wstring& name);
    std::wstring InPath(const std::wstring& path);
    std::wstring InArguments(const std::wstring& arguments);
    std::wstring InAccount(const std::wstring& account);
    std::wstring InPlatform(const std::wstring& platform);
    std::optional<std::wstring> InForm(std::wstring_view form, std::wstring_view message);
    std::optional<std::wstring> InField(std::wstring_view field, const std::wstring& value);
    std::vector<std::wstring> InPaths(const std::vector<std::wstring>& paths);
    RightsFacts InRights(const RightsFacts& rights);
    SuiteFacts InSuite(const SuiteFacts& suite);
    TaskFacts InTasks(const TaskFacts& tasks);
    LogFacts InLogFacts(const LogFacts& log);
    PrinterFacts InPrinters(const PrinterFacts& printers);
    SessionFacts InSessions(const SessionFacts& sessions);
    WorkFacts InWork(const WorkFacts& work);

    std::map<std::wstring, std::map<std::wstring, std::size_t>> tokens; ///< by kind and name
};
