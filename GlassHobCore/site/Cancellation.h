#pragma once

// How work that waits is told to end before its time: the work holds the token and the one who may end it the source.
// The token may be asked at any time; a wait that it belongs to ends at once, and whoever waited asks the token what
// that meant before it touches anything else. The source may be used on any thread; waits always end on their own.

#include <stop_token>

namespace glasshob {

using Cancellation = std::stop_token;
using CancellationSource = std::stop_source;

} // namespace glasshob
