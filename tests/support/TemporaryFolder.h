#pragma once

#include <string>

/// A new, empty folder for one test. It is removed with all that is in it at the end of this
/// object's life.
class TemporaryFolder
{
public:
    /// Throws std::runtime_error when the folder cannot be made.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// The folder's full path, without a backslash at its end.
    [[nodiscard]] const std::wstring& Path() const noexcept { return path; }

    /// The full path of `name` in the folder, whether there is such a file or not.
    [[nodiscard]] std::wstring Of(const std::wstring& name) const;

    /// Makes the file `name` of exactly these bytes and returns its full path. Throws
    /// std::runtime_error when it cannot be written.
    std::wstring WriteFile(const std::wstring& name, const std::string& bytes) const;

private:
    std::wstring path;
};

/// All bytes of a file; empty when it cannot be read.
std::string FileBytes(const std::wstring& path);
