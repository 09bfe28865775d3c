#pragma once

// What the gallery's answers mean: the rule of each of its addresses, from a status and bytes to a plain record or a
// failure. Pure; any thread. APIClient sends and asks these.

#include "GlassHobCore/site/APIClient.h"

#include <QJsonObject>

#include <optional>
#include <string>
#include <string_view>

namespace glasshob::APIAnswers {

using Failure = APIClient::Failure;
template <class Value>
using Result = APIClient::Result<Value>;

// An answer as its rule sees it: what it says, and what the gallery is called where a text needs that.
struct Answer {
    int status = 0;
    // Nothing when the body is no JSON object that could be read whole.
    std::optional<QJsonObject> body;
    const std::string& siteName;

    Answer(const HttpAnswer& answer, const std::string& siteName);

    bool isGood() const { return status >= 200 && status <= 299; }
    // A good status without what belongs to it, and a status of failure.
    std::unexpected<Failure> bad() const;
    std::unexpected<Failure> refusal() const;
};

Result<APIClient::LinkStart> linkStart(const Answer& answer, Clock::Moment now);
Result<APIClient::LinkPoll> linkPoll(const Answer& answer);
Result<APIClient::Me> me(const Answer& answer);
// The handle of the answer, else the one that was sent.
Result<std::string> handle(const Answer& answer, std::string_view sent);
Result<APIClient::Shared> shared(const Answer& answer);

} // namespace glasshob::APIAnswers
