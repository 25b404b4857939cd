// The player's routes.
#pragma once

#include "remote/router_call.h"

namespace tarnwick::remote {

ApiAnswer AnswerAddPath(const Call& call);
ApiAnswer AnswerAddPaths(const Call& call);
ApiAnswer AnswerPlaybackConfig(const Call& call);
ApiAnswer AnswerPlaybackTab(const Call& call);
ApiAnswer AnswerPlaybackItem(const Call& call);
ApiAnswer AnswerPlaybackSeek(const Call& call);
ApiAnswer AnswerPlaybackControl(const Call& call);

}  // namespace tarnwick::remote
