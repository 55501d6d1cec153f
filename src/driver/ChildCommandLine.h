#pragma once

#include "CmdLineOptions.h"

#include <cstdint>
#include <string>

// The siblings' command lines.

/// What one request is about.
struct WriterRequest
{
    CmdLineOptionsEnum mode = CmdLineOptionsEnum::NoCmdLineOption;
    bool onePrinter = false;
    std::wstring printerName; ///< given to the query program when onePrinter is set
};

/// The arguments of the query program for a request.
std::wstring QueryArguments(const WriterRequest& request);

/// The arguments of the writer for a request, without the invoker tag.
std::wstring WriterArguments(const WriterRequest& request);

/// `arguments`, " -i " and, in double quotes, who starts the child: this program, the invoker of
/// this run if there is one, and the process id.
std::wstring InvokerTag(const std::wstring& arguments, const std::wstring& invoker,
                        std::uint32_t processId);

/// Path and arguments with a blank between them; the path is not quoted.
std::wstring ChildCommandLine(const std::wstring& path, const std::wstring& arguments);
