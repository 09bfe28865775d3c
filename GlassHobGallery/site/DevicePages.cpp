// Allowing a device that asks to be signed in.

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"

namespace glasshob::gallery {

namespace {

constexpr std::int64_t hour = 3600;
constexpr std::int64_t wrongCodes = 5;

} // namespace

Response Gallery::device(const Request& request, const Visitor& visitor) {
    if (!visitor.account) return toSignIn(request);
    const auto answer = [&](const char* title, const char* sign, const char* head, const char* text, const char* place,
                            const char* button) {
        Page made = page(request, visitor, "answer.html", title);
        made.show(sign).set("HEAD", head).set("TEXT", text).set("PLACE", place).set("BUTTON", button);
        return answerPage(made, visitor);
    };
    std::string typed(request.argument("code")), decision;
    if (request.method == "POST") {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        if (const auto found = form->find("code"); found != form->end()) typed = found->second;
        if (const auto found = form->find("answer"); found != form->end()) decision = found->second;
    }
    if (typed.empty()) return answerPage(page(request, visitor, "device.html", "Allow a device"), visitor);

    const std::string bucket = "code:" + std::to_string(visitor.account->id);
    if (const auto wait = secondsToWait(bucket, wrongCodes, hour)) return errorPage(request, visitor, 429, wait);
    const std::string code = plainCode(typed);
    const auto link = database_.linkOfCode(hashOf(code));
    // Unknown, used and expired codes look alike, and all of them count.
    if (code.size() != 8 || !link || link->state != "waiting" || link->expires <= now()) {
        return answer("The code does not work", "BAD", "That code does not work",
                      "It may have expired, or it was used already. Start again in Glass Hob for a new one.", "/device",
                      "Type Another Code");
    }
    database_.takeBack(bucket); // a code that works
    if (decision == "allow" || decision == "refuse") {
        if (!database_.answerLink(link->id, decision == "allow" ? "allowed" : "refused", visitor.account->id))
            return errorPage(request, visitor, 403);
        if (decision == "allow")
            return answer("Device allowed", "GOOD", "Glass Hob is signed in",
                          "Go back to Glass Hob: it goes on by itself. You can close this page.", "/account",
                          "Your Devices");
        return answer("Device refused", "REFUSED", "Refused",
                      "Glass Hob was not signed in, and the code no longer works. If somebody gave you that code, tell "
                      "an administrator.",
                      "/", "All Shaders");
    }
    Page made = page(request, visitor, "device-allow.html", "Allow this device?");
    made.set("CODE", shownCode(code)).set("PROGRAM", programName(link->agent)).set("ADDRESS", link->address);
    setTime(made, link->created);
    made.set("LEFT", counted(std::max<std::int64_t>(1, (link->expires - now()) / 60), "more minute", "more minutes"));
    made.show(link->address == request.address ? "SAME" : "ELSEWHERE");
    std::string spelt;
    for (std::size_t i = 0; i < code.size(); ++i) {
        made.add(i < 4 ? "SIGN" : "SECOND").set("C", code.substr(i, 1));
        spelt += i == 0 ? "" : i == 4 ? ", " : " ";
        spelt += code[i];
    }
    made.set("SPELT", spelt);
    return answerPage(made, visitor);
}

} // namespace glasshob::gallery
