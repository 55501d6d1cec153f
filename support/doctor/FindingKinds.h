#pragma once

#include "Finding.h"

#include <array>

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

// The print service's channel.

inline constexpr FindingKind ChannelMissing = {
    L"channel-missing", L"No printer event can start the task of new and changed printers.",
    L"Repair Windows: the print service brings the channel."};
inline constexpr FindingKind ChannelOff = {
    L"channel-off", L"No printer event is logged, so none starts the program.",
    L"Run PalvoPrinterConfiguration.exe -IT as an administrator."};
inline constexpr FindingKind ChannelSmall = {L"channel-small",
                                             L"Events are overwritten before a run has seen them.",
                                             L"Set it to 1052672 bytes or more."};
inline constexpr FindingKind ChannelRetention = {
    L"channel-retention", L"When the channel is full, no printer event is logged any more.",
    L"Let the channel overwrite its oldest events."};
inline constexpr FindingKind ChannelLostPosition = {
    L"channel-lost-position",
    L"The next run does not look at the oldest printer event that it finds.",
    L"Run PalvoPrinterConfiguration.exe without arguments after adding a printer; enlarge a small "
    L"channel."};
inline constexpr FindingKind PositionBeyond = {
    L"position-beyond", L"A scan finds nothing, and every run configures all printers.",
    L"Delete the value LastEvtRecordProcessed."};
inline constexpr FindingKind EventsWaiting = {
    L"events-waiting", L"No run has dealt with it: the task did not start, or its run hangs.",
    L"Look at the findings about tasks; run PalvoPrinterConfiguration.exe -c -i NewOrChangedTask."};

// The log.

inline constexpr FindingKind LogUnknownFolder = {
    L"log-unknown-folder", L"Without %ProgramData% every run works without a log.",
    L"Repair the known folder ProgramData."};
inline constexpr FindingKind LogFolderWritable = {
    L"log-folder-writable", L"Users can put something in the log's place, and the log ends.",
    L"Run PalvoPrinterSetup folder as an administrator."};
inline constexpr FindingKind LogMissing = {
    L"log-missing", L"No run has logged since the log was deleted, or none could.",
    L"Look whether the other findings tell why; run PalvoPrinterConfiguration.exe -c."};
inline constexpr FindingKind LogNotAFile = {
    L"log-not-a-file", L"The program leaves it alone, and no run is logged.", L"Delete it."};
inline constexpr FindingKind LogReadOnly = {L"log-read-only", L"No run can write it.",
                                            L"Take the attribute away."};
inline constexpr FindingKind LogHeld = {
    L"log-held", L"Another program holds it without sharing; the lines of that time are lost.",
    L"Close that program; read the log with a viewer that shares it."};
inline constexpr FindingKind LogUntrimmed = {L"log-untrimmed",
                                             L"It should have been trimmed at 4 MiB.",
                                             L"Look who holds it and whether the disk is full."};
inline constexpr FindingKind LogLeftover = {
    L"log-leftover", L"A run was ended while it trimmed; the file may hold what the log lost.",
    L"Keep a copy if it matters; the next trim deletes it."};
inline constexpr FindingKind DiskFull = {
    L"disk-full", L"Lines are lost without a trace when there is no room.", L"Make room."};
inline constexpr FindingKind LogForeignLines = {
    L"log-foreign-lines", L"Another program wrote into it, or it was damaged.",
    L"Find out who did; PalvoPrinterConfiguration.exe -DL begins a new log."};
inline constexpr FindingKind LogErrors = {L"log-errors", L"A run told of a failure.",
                                          L"Look the line up in docs/reading-the-log.md."};
inline constexpr FindingKind RunUnfinished = {
    L"run-unfinished", L"It was ended at work; printers may be left as they were.",
    L"Run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind RunsRedundant = {
    L"runs-redundant", L"They leave their work to a copy that does not get on.",
    L"Look at copy-hangs; end that copy."};
inline constexpr FindingKind LogSilent = {L"log-silent",
                                          L"The refresh alone logs every four hours.",
                                          L"Look at the findings about tasks and at the disk."};
inline constexpr FindingKind ClockBack = {
    L"clock-back", L"The clock or its time zone was changed; the log's order is not that of time.",
    L"Nothing, when summer time ended; else correct the clock."};
inline constexpr FindingKind DeviceIdBlank = {
    L"device-id-blank",
    L"WMI did not tell the hardware, so other machines have the same identifier.",
    L"Repair WMI, then run PalvoPrinterConfiguration.exe without arguments."};

// Printers.

inline constexpr FindingKind SpoolerUnreachable = {
    L"spooler-unreachable",
    L"Without the print spooler nobody prints, and no printer is configured.",
    L"Start the service Spooler."};
inline constexpr FindingKind PrinterNotOpened = {
    L"printer-not-opened", L"It counts as not supported, and its event is used up.",
    L"Repair the printer, then run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind PrinterDriverUnknown = {
    L"printer-driver-unknown", L"It counts as not supported, and its event is used up.",
    L"Install its driver anew, then run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind PrinterManifest = {
    L"printer-manifest", L"It counts as not supported, and its event is used up.",
    L"Install its driver anew, then run PalvoPrinterConfiguration.exe without arguments."};

// Users.

inline constexpr FindingKind SessionWithoutToken = {
    L"session-without-token", L"This user's values are not written, and no line tells.",
    L"Let the user sign out and in."};
inline constexpr FindingKind HiveMissing = {
    L"hive-missing", L"This user's values cannot be written.",
    L"Let the user sign out and in; repair the profile when it happens again."};
inline constexpr FindingKind HiveReadOnly = {
    L"hive-read-only", L"The program writes in the user's name, and that user may not.",
    L"Give the user full access to this key."};
inline constexpr FindingKind BagIncomplete = {
    L"bag-incomplete", L"The desktop application lacks them; no run has handled this user.",
    L"Run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind BagValueType = {
    L"bag-value-type", L"The desktop application reads texts.",
    L"Delete the value and run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind BagValueOdd = {
    L"bag-value-odd", L"No run writes such a value.",
    L"Find out who wrote it; run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind IdentifierZero = {
    L"identifier-zero", L"The hash failed, so other users and machines have the same identifier.",
    L"Repair cryptography, then run PalvoPrinterConfiguration.exe without arguments."};
inline constexpr FindingKind BagApplications = {
    L"bag-applications", L"The desktop applications of this version are not known to the printers.",
    L"Run PalvoPrinterConfiguration.exe without arguments."};

// What a run needs of Windows.

inline constexpr FindingKind LocalServiceLogon = {
    L"local-service-logon", L"The query program runs with this program's own rights instead.",
    L"Give Local Service the right to log on as a service."};
inline constexpr FindingKind CryptographyFailed = {
    L"cryptography-failed", L"UserId and DeviceId become zeros.",
    L"Repair the cryptographic services and their provider for SHA-256."};
inline constexpr FindingKind WmiFailed = {L"wmi-failed",
                                          L"The DeviceId is made without the hardware's identity.",
                                          L"Repair WMI: winmgmt /verifyrepository tells more."};

// Who works.

inline constexpr FindingKind CopyHangs = {
    L"copy-hangs", L"All others leave their work to it.",
    L"Find out what it waits for; end it when it is of no use."};
inline constexpr FindingKind SiblingHangs = {
    L"sibling-hangs", L"A run waits for it; it also outlives a task that is ended.",
    L"Find out what it waits for; end it when it is of no use."};
inline constexpr FindingKind MutexForeign = {
    L"mutex-foreign", L"While it is held every run takes itself for redundant and does nothing.",
    L"Find out which program holds it; restart the machine."};
inline constexpr FindingKind LogMutexHeld = {
    L"log-mutex-held", L"Every line of every run waits 5 seconds and is lost.",
    L"End the process that holds it."};
inline constexpr FindingKind LogMutexClosed = {
    L"log-mutex-closed", L"Every run that may not open it works without a log.",
    L"Find out which program made it; restart the machine."};
inline constexpr FindingKind LogOpenElsewhere = {
    L"log-open-elsewhere", L"Lines are lost while it does not share the log for writing.",
    L"Close it there; read the log with a viewer that shares it."};

/// All of them, in the order of the checks.
inline constexpr std::array All = {&RunSwitchOff,
                                   &RunSwitchType,
                                   &PositionType,
                                   &PromptOn,
                                   &WindowsTooOld,
                                   &ProgramMissing,
                                   &ProgramOnTheWay,
                                   &FolderWritable,
                                   &SchedulerUnreachable,
                                   &TaskMissing,
                                   &TaskDisabled,
                                   &TaskProgram,
                                   &TaskArguments,
                                   &TaskAccount,
                                   &TaskResult,
                                   &TaskEnded,
                                   &TaskRunsLong,
                                   &ChannelMissing,
                                   &ChannelOff,
                                   &ChannelSmall,
                                   &ChannelRetention,
                                   &ChannelLostPosition,
                                   &PositionBeyond,
                                   &EventsWaiting,
                                   &LogUnknownFolder,
                                   &LogFolderWritable,
                                   &LogMissing,
                                   &LogNotAFile,
                                   &LogReadOnly,
                                   &LogHeld,
                                   &LogUntrimmed,
                                   &LogLeftover,
                                   &DiskFull,
                                   &LogForeignLines,
                                   &LogErrors,
                                   &RunUnfinished,
                                   &RunsRedundant,
                                   &LogSilent,
                                   &ClockBack,
                                   &DeviceIdBlank,
                                   &SpoolerUnreachable,
                                   &PrinterNotOpened,
                                   &PrinterDriverUnknown,
                                   &PrinterManifest,
                                   &SessionWithoutToken,
                                   &HiveMissing,
                                   &HiveReadOnly,
                                   &BagIncomplete,
                                   &BagValueType,
                                   &BagValueOdd,
                                   &IdentifierZero,
                                   &BagApplications,
                                   &LocalServiceLogon,
                                   &CryptographyFailed,
                                   &WmiFailed,
                                   &CopyHangs,
                                   &SiblingHangs,
                                   &MutexForeign,
                                   &LogMutexHeld,
                                   &LogMutexClosed,
                                   &LogOpenElsewhere};
} // namespace FindingKinds
