#pragma once

#include "Finding.h"

// Every finding that the doctor knows, in the order of its checks. An identifier is never given a
// new meaning; docs/troubleshooting.md has a heading for each.

namespace FindingKinds
{
// Settings.

inline constexpr FindingKind RunSwitchOff = {
    L"run-switch-off", L"Every run ends at once with 0 and writes nothing, -IT and -UT too.",
    L"Set the value to 1 or delete it."};
inline constexpr FindingKind RunSwitchType = {
    L"run-switch-type", L"The program takes the first 4 bytes of any type for the number.",
    L"Write the value as a DWORD, or delete it."};
inline constexpr FindingKind PositionType = {
    L"position-type", L"What the program reads as the position is another number or none.",
    L"Delete the value: the next run configures all printers and writes it anew."};
inline constexpr FindingKind PromptOn = {
    L"prompt-on", L"Every run that has work waits for somebody to answer a message box.",
    L"Delete the value."};

// The suite's folder.

inline constexpr FindingKind WindowsTooOld = {
    L"windows-too-old", L"The automatic configuration needs Windows 8 or later.",
    L"Remove the tasks, and do not run -IT on this machine."};
inline constexpr FindingKind ProgramMissing = {
    L"program-missing", L"What a task or the program starts is not there, and no line tells.",
    L"Repair the installation, or run the doctor with --folder and the suite's folder."};
inline constexpr FindingKind ProgramOnTheWay = {
    L"program-on-the-way",
    L"The siblings' paths are not in quotes, so Windows starts this file instead of them.",
    L"Delete or rename it, and find out who put it there."};
inline constexpr FindingKind FolderWritable = {
    L"folder-writable", L"The program runs as SYSTEM: who may write there may become SYSTEM.",
    L"Take the right away."};

// Scheduled tasks.

inline constexpr FindingKind SchedulerUnreachable = {
    L"scheduler-unreachable", L"Nothing starts the program while Task Scheduler does not run.",
    L"Start the service Schedule."};
inline constexpr FindingKind TaskMissing = {
    L"task-missing", L"Nothing starts the program at this occasion.",
    L"Run PalvoPrinterConfiguration.exe -IT as an administrator."};
inline constexpr FindingKind TaskDisabled = {
    L"task-disabled", L"Nothing starts the program at this occasion.",
    L"Enable the task, or run PalvoPrinterConfiguration.exe -IT as an administrator."};
inline constexpr FindingKind TaskProgram = {
    L"task-program", L"The task does not start the program of this folder.",
    L"Run PalvoPrinterConfiguration.exe -IT from the folder that is in use."};
inline constexpr FindingKind TaskArguments = {
    L"task-arguments", L"The program does other work than this occasion needs.",
    L"Run PalvoPrinterConfiguration.exe -IT as an administrator."};
inline constexpr FindingKind TaskAccount = {
    L"task-account", L"Only SYSTEM may do all that a run has to do.",
    L"Run PalvoPrinterConfiguration.exe -IT as an administrator."};
inline constexpr FindingKind TaskResult = {
    L"task-result", L"The last start failed, or the program ended as it should not.",
    L"Look the code up in docs/exit-codes.md, or as a Windows error."};
inline constexpr FindingKind TaskEnded = {
    L"task-ended", L"Somebody or the time limit of two hours ended the run within its work.",
    L"Find out what the sibling programs wait for, then run the task again."};
inline constexpr FindingKind TaskRunsLong = {
    L"task-runs-long",
    L"A run takes minutes; this one may hang, and others leave their work to it.",
    L"Find out what the sibling programs wait for, or end the task."};
} // namespace FindingKinds
