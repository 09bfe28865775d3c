// What servers answer: a status and bytes to a record, or to a sentence that can be shown. The first byte chooses the
// status.
#include "GlassHobCore/fuzz/Finding.h"
#include "GlassHobCore/site/APIAnswers.h"
#include "GlassHobCore/site/LatestRelease.h"
#include "GlassHobCore/text/Lines.h"

#include <array>
#include <cstdint>

using namespace glasshob;
using fuzz::expect;

namespace {

constexpr std::array statuses = {200, 201, 202, 204, 302, 401, 409, 410, 429, 500};

void checkText(const std::string& text) {
    expect(isValidUtf8(text), "a text that cannot be shown");
}

void checkRelease(std::string_view bytes) {
    const auto release = LatestRelease::parse(bytes);
    if (!release) {
        expect(!release.error().empty(), "no words for a feed that cannot be read");
        checkText(release.error());
        return;
    }
    for (const std::string& text :
         {release->version, release->url, release->sha256.value_or(""), release->notes.value_or("")})
        checkText(text);
    if (release->isNewer("1"))
        expect(release->build > 1 && release->url.starts_with("https://"), "offers what it must not");
    expect(!release->isNewer("") && !release->isNewer("9223372036854775807"), "offers to anyone");
}

// The record, or nothing when it is a failure with one line for the person.
template <class Value>
std::optional<Value> checked(const APIClient::Result<Value>& result) {
    if (result) return *result;
    const std::string& message = result.error().message;
    checkText(message);
    expect(!message.empty() && message.find('\n') == std::string::npos && message.size() < 10'000,
           "not a line: " + message);
    return {};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    checkRelease(bytes);
    const std::string siteName = "site.example";
    HttpAnswer answered;
    answered.status = statuses[data[0] % statuses.size()];
    answered.body = QByteArray(bytes.data(), qsizetype(bytes.size()));
    answered.isTooLarge = data[0] == 255;
    const APIAnswers::Answer answer(answered, siteName);

    if (const auto start = checked(APIAnswers::linkStart(answer, Clock::Moment(std::chrono::seconds(1'700'000'000))))) {
        checkText(start->device);
        checkText(start->code);
        expect(start->interval >= std::chrono::seconds(1) && start->interval <= std::chrono::seconds(60),
               "asks without a pause");
    }
    if (const auto poll = checked(APIAnswers::linkPoll(answer));
        poll && poll->kind == APIClient::LinkPoll::Kind::approved)
        expect(APIClient::isToken(poll->token), "a token that could end a header");
    if (const auto me = checked(APIAnswers::me(answer))) checkText(me->email + me->handle.value_or(""));
    if (const auto handle = checked(APIAnswers::handle(answer, "sent"))) checkText(*handle);
    if (const auto shared = checked(APIAnswers::shared(answer)))
        expect(shared->url.isValid() && !shared->url.host().isEmpty() &&
                   (shared->url.scheme() == "http" || shared->url.scheme() == "https"),
               "a page that is none");
    return 0;
}
