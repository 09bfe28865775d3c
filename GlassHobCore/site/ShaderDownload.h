#pragma once

// The text of a shader, fetched from the address that a link of the gallery names. Nothing but text of a bearable size
// comes out of it, and nothing is written anywhere. Main thread.

#include "GlassHobCore/site/Cancellation.h"

#include <QtGlobal>

#include <qcoro/qcorotask.h>

#include <expected>
#include <string>

namespace glasshob {

class HttpSession;
struct OpenLink;
struct Site;

namespace ShaderDownload {

// No shader has more bytes.
inline constexpr qsizetype sizeLimit = 300 * 1024;

struct Problem {
    enum class Kind { status, network, tooLarge, notText, cancelled };
    Kind kind = Kind::network;
    // The sentence for the person; of no use for `cancelled`.
    std::string sentence;

    bool operator==(const Problem&) const = default;
};

// The text is UTF-8, byte for byte as the gallery has it. A redirect is followed to the same scheme and host alone; any
// other is a status as those of failure are. `session` must live until the task has ended.
QCoro::Task<std::expected<std::string, Problem>> fetch(OpenLink link, Site site, HttpSession& session,
                                                       Cancellation cancellation = {});

} // namespace ShaderDownload
} // namespace glasshob
