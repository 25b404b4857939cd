// The status section of the documents.
#pragma once

#include <cstddef>

#include "remote/records.h"
#include "text/json_writer.h"

namespace tarnwick::remote {

// The members of the status document, without its brackets.
void WriteStatusMembers(text::JsonWriter& json, const RemoteStatusSnapshot& status);
// A guess at their length, to reserve once.
size_t StatusBytes(const RemoteStatusSnapshot& status);

}  // namespace tarnwick::remote
