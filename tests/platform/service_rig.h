// Each system's part in the tests of its services.
#pragma once

#include <string>
#include <vector>

namespace tarnwick::platform {

// The program's arguments in UTF-8, without its own name.
std::vector<std::string> OwnArguments(int argc, char** argv);

// This process's priority, processors and open handles as a text; and the text of an ordinary process that was given
// nothing but its standard streams.
std::string ProcessState();
std::string OrdinaryState();
// Lowers the priority of the calling thread or of the process and takes processors from it, and opens files that a
// child could inherit. RelieveThread undoes it.
void BurdenThread();
void RelieveThread();

// Starts this program again as `arguments` say, with its own standard streams, and does not wait for it.
bool StartBeside(const std::vector<std::string>& arguments);
// Whether this process has children, ended or not. False where the system keeps no account of them.
bool HasChildren();

// A place for registry values that is not there yet, and its removal.
std::wstring NewRegistryPlace();
void RemoveRegistryPlace(const std::wstring& place);

// Makes the start-up entry of this process lie below `folder`, whose subfolders are made as they are on a real system.
void SetStartupFolder(const std::wstring& folder);
// The command of the start-up entry; empty when it cannot be read.
std::wstring StartupTarget();

}  // namespace tarnwick::platform
