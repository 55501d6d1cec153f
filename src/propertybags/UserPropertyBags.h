#pragma once

#include <string>

class LogFile;

/// Writes UserId, DeviceId and IsAdmin for every user who has a session, impersonating that user.
/// Skips what the user may not write. A user who cannot be impersonated gets no values: they would
/// be written with this program's rights.
void UpdateUserPropertyBags(LogFile& log);

/// Writes a string value into the property bag of every hive that the thread may write.
void SetValueInAllUserPropertyBags(const std::wstring& name, const std::wstring& data);
