#pragma once

#include <string>
#include <vector>

/// What can be wrong. The identifier is stable: fleets count by it, and docs/troubleshooting.md
/// explains each. `why` and `advice` are whole sentences.
struct FindingKind
{
    const wchar_t* id;
    const wchar_t* why;
    const wchar_t* advice;
};

/// What is wrong on this machine: `what` is one sentence with its particulars.
struct Finding
{
    const FindingKind* kind;
    std::wstring what;
};

/// What is worth knowing and needs no attention, such as which printers are supported.
struct Note
{
    std::wstring topic;
    std::wstring text;
};

/// What could not be looked at, and why not.
struct Unseen
{
    std::wstring area;
    std::wstring reason;
};

/// All that the doctor has to say.
struct Report
{
    std::vector<Finding> findings;
    std::vector<Unseen> unseen;
    std::vector<Note> notes;
    bool asSystem = true; ///< nobody sees more

    void Find(const FindingKind& kind, std::wstring what)
    {
        findings.push_back({&kind, std::move(what)});
    }
    void NotSeen(std::wstring area, std::wstring reason)
    {
        unseen.push_back({std::move(area), std::move(reason)});
    }
    void Tell(std::wstring topic, std::wstring text)
    {
        notes.push_back({std::move(topic), std::move(text)});
    }

    /// 1 when something needs attention; else 2 when not everything could be looked at; else 0.
    [[nodiscard]] int ExitCode() const { return !findings.empty() ? 1 : unseen.empty() ? 0 : 2; }
};
