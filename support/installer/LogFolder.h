#pragma once

class RegistryKey;

/// Makes the log's folder, and those above it up to the one in ProgramData, or takes over those
/// that are there: users create nothing in any of them then (docs/trust.md). What is in the place
/// of one, or belongs to neither administrators nor SYSTEM, is renamed; nothing in it is followed,
/// changed or deleted. Keeps in `state` what was there. False when one could not be had; true, with
/// nothing made, where ProgramData is not given or is a link: the program does not log there.
/// Throws ExceptionRegistryRequest.
bool SecureLogFolder(RegistryKey& state);

/// Puts the former lists and what was renamed back. What has come in its place is renamed in turn:
/// the log of the failed installation is in it. False when something could not be put back.
bool RestoreLogFolder(const RegistryKey& state);
