// The one text that a Windows program gets instead of a list of arguments.
#pragma once

#include <string>
#include <vector>

namespace tarnwick::platform {

// `program` and `arguments` as CommandLineToArgvW and the C run time take them apart again. `program` holds no quote.
std::wstring CommandLineOf(const std::wstring& program, const std::vector<std::wstring>& arguments);

// The command that restarts ("r") or shuts down ("s") the machine at once, through the program in `systemFolder`.
std::wstring ShutdownCommandLine(const std::wstring& systemFolder, wchar_t action);

}  // namespace tarnwick::platform
