// Signing up, in and out, and what people do with their account.

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/text/Lines.h"

#include <algorithm>

namespace glasshob::gallery {

namespace {

constexpr std::int64_t quarter = 15 * 60, hour = 3600, day = 86400;
// Wrong passwords of one account in a quarter of an hour.
constexpr std::int64_t tries = 5;

std::string field(const Request::Fields& form, std::string_view name) {
    const auto found = form.find(name);
    return found == form.end() ? std::string() : found->second;
}

// A path of this gallery to go to; "/" in place of anything that would lead elsewhere.
std::string safePath(std::string_view next) {
    const bool isPath = next.starts_with('/') && !next.starts_with("//") && !next.contains('\\') &&
                        next.size() <= 200 && std::ranges::all_of(next, [](char c) { return c > ' ' && c <= '~'; });
    return isPath ? std::string(next) : "/";
}

// Shows what is wrong at the field it is about, and the hints at the others.
void showProblems(Page& page, std::string_view title, const std::map<std::string, std::string>& problems) {
    for (const auto& [name, problem] : problems) {
        if (problem.empty())
            page.show(name + "_GOOD");
        else
            page.add(name + "_BAD").set("REASON", problem);
    }
    if (std::ranges::any_of(problems, [](const auto& problem) { return !problem.second.empty(); }))
        page.set("TITLE", "Error: " + std::string(title));
}

bool isGood(const std::map<std::string, std::string>& problems) {
    return std::ranges::all_of(problems, [](const auto& problem) { return problem.second.empty(); });
}

std::string agentOf(const Request& request) {
    const std::string_view agent = request.header("User-Agent");
    const auto firstOf = [&](std::initializer_list<std::pair<std::string_view, std::string_view>> names,
                             std::string_view other) {
        for (const auto& [sign, name] : names)
            if (agent.contains(sign)) return std::string(name);
        return std::string(other);
    };
    return firstOf({{"Firefox/", "Firefox"},
                    {"Edg/", "Edge"},
                    {"OPR/", "Opera"},
                    {"Chrome/", "Chrome"},
                    {"Safari/", "Safari"}},
                   "A browser") +
           firstOf({{"Android", " on Android"},
                    {"iPhone", " on iPhone"},
                    {"iPad", " on iPad"},
                    {"Windows", " on Windows"},
                    {"Mac OS", " on macOS"},
                    {"Linux", " on Linux"}},
                   "");
}

} // namespace

Response Gallery::signedIn(const Request& request, Id account, const std::string& next) {
    const std::string token = randomToken();
    database_.addSession({0, account, false, agentOf(request), request.address, now(), now()}, hashOf(token));
    return redirect(safePath(next)).with("Set-Cookie", cookie("session", token, 30 * day));
}

Response Gallery::signIn(const Request& request, const Visitor& visitor) {
    const bool isPost = request.method == "POST";
    std::optional<Fields> form;
    if (isPost && !(form = formOf(request, visitor))) return errorPage(request, visitor, 403);
    const std::string next = safePath(isPost ? field(*form, "next") : request.argument("next"));
    if (visitor.account && !isPost) return redirect(next);
    std::string reason, name;
    int status = 200;
    if (isPost) {
        name = trimmed(field(*form, "name"));
        const auto account = database_.accountNamed(name);
        if (const auto wait = secondsToWait("signin:" + networkOf(request.address), 300, quarter))
            return errorPage(request, visitor, 429, wait);
        // Counted by what was typed, so that it tells nothing of whether there is such a person; and before the
        // password is looked at, which takes long: many at once are many.
        const std::string bucket = "signin:" + hexText(hashOf(account ? std::to_string(account->id) : name));
        const Attempts guesses = database_.attempt(bucket, quarter, now());
        if (guesses.count > tries) return errorPage(request, visitor, 429, guesses.ends - now());
        if (isPasswordOf(account ? &*account : nullptr, field(*form, "password"))) {
            database_.takeBack(bucket);
            if (!account->isSuspended) return signedIn(request, account->id, next);
            reason = "This account is suspended. Ask an administrator.";
            status = 403;
        } else {
            reason = "There is no account with this name and password. You can try " +
                     counted(tries - guesses.count, "more time", "more times") + " in the next 15 minutes.";
            status = 422;
        }
    }
    Page made = page(request, visitor, "sign-in.html", reason.empty() ? "Sign in" : "Error: sign in");
    made.set("NEXT", next).set("NAME", name);
    made.show(next.starts_with("/device") ? "DEVICE_LEAD" : "LEAD");
    made.show("OPEN", whoMayJoin() == "anyone");
    if (!reason.empty()) made.add("REFUSED").set("REASON", reason);
    return answerPage(made, visitor, status);
}

Response Gallery::signOut(const Request& request, const Visitor& visitor) {
    if (!visitor.account) return redirect("/");
    if (!formOf(request, visitor)) return errorPage(request, visitor, 403);
    database_.endSession(visitor.account->id, visitor.session.id);
    return redirect("/").with("Set-Cookie", cookie("session", "", 0));
}

Response Gallery::join(const Request& request, const Visitor& visitor, const std::string& token) {
    const std::string mode = whoMayJoin();
    const auto invitation =
        token.empty() || mode == "nobody" ? std::nullopt : database_.invitation(hashOf(token), now());
    if (!invitation && (mode != "anyone" || !token.empty()))
        return errorPage(request, visitor, 404).with("Referrer-Policy", "no-referrer");
    const bool isPost = request.method == "POST";
    Page made = page(request, visitor, "sign-up.html", "Make an account");
    std::map<std::string, std::string> problems{{"HANDLE", ""}, {"NEW", ""}, {"EMAIL", ""}};
    if (isPost) {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        if (const auto wait = secondsToWait("join:" + networkOf(request.address), 60, hour))
            return errorPage(request, visitor, 429, wait);
        Account account;
        account.handle = field(*form, "handle");
        account.email = trimmed(field(*form, "email"));
        account.created = now();
        if (invitation) account.invitedBy = invitation->by;
        problems = {{"HANDLE", handleProblem(account.handle)},
                    {"NEW", passwordProblem(field(*form, "new"), account.handle)},
                    {"EMAIL", emailProblem(account.email)}};
        if (isGood(problems)) {
            account.password = newPasswordHash(field(*form, "new"));
            std::optional<Id> added;
            bool isInvited = true;
            database_.write([&] {
                if (!(added = database_.addAccount(account)) || !invitation) return;
                isInvited = database_.useInvitation(hashOf(token), now());
                if (!isInvited) database_.deleteAccount(*added); // somebody else was faster
            });
            if (!isInvited) return errorPage(request, visitor, 404);
            if (added) return signedIn(request, *added, "/");
            const bool isHandle = database_.accountOfHandle(account.handle) || !database_.accountNamed(account.email);
            problems[isHandle ? "HANDLE" : "EMAIL"] = isHandle ? "Somebody has or had this handle. Choose another."
                                                               : "Another account has this e-mail address.";
        }
        made.set("TYPED_HANDLE", account.handle).set("TYPED_EMAIL", account.email);
    }
    made.set("HERE", token.empty() ? "/join" : "/join/" + token);
    if (invitation) made.add("INVITED").set("BY", invitation->by).set("UNTIL", dateText(invitation->expires));
    showProblems(made, "make an account", problems);
    return answerPage(made, visitor, isGood(problems) ? 200 : 422).with("Referrer-Policy", "no-referrer");
}

Response Gallery::setup(const Request& request, const Visitor& visitor) {
    if (database_.hasAdministrator()) return errorPage(request, visitor, 404);
    Page made = page(request, visitor, "setup.html", "Set up the gallery");
    std::map<std::string, std::string> problems{{"SETUP", ""}, {"SITE", ""}, {"HANDLE", ""}, {"NEW", ""}};
    made.set("TYPED_SETUP", request.argument("code"));
    if (request.method == "POST") {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        if (const auto wait = secondsToWait("setup:" + networkOf(request.address), 20, hour))
            return errorPage(request, visitor, 429, wait);
        Account account;
        account.handle = field(*form, "handle");
        account.created = now();
        account.isAdmin = true;
        const std::string name(trimmed(field(*form, "site"))), who = field(*form, "join");
        const std::string code = hexText(hashOf(plainCode(field(*form, "setup"))));
        const bool isRight = isSame(code, database_.setting("setup"));
        const bool isMode = who == "invited" || who == "anyone" || who == "nobody";
        problems = {{"SETUP", isRight ? "" : "This is not the setup code that the server printed last."},
                    {"SITE", !name.empty() && name.size() <= 120 && isMode
                                 ? ""
                                 : "Give the gallery a name of at most 40 characters."},
                    {"HANDLE", handleProblem(account.handle)},
                    {"NEW", passwordProblem(field(*form, "new"), account.handle)}};
        if (isGood(problems)) {
            account.password = newPasswordHash(field(*form, "new"));
            std::optional<Id> added;
            database_.write([&] {
                if (database_.hasAdministrator() || !(added = database_.addAccount(account))) return;
                database_.setSetting("name", name);
                database_.setSetting("join", who);
                database_.setSetting("setup", "");
            });
            if (!added) return errorPage(request, visitor, 404);
            return signedIn(request, *added, "/");
        }
        made.set("TYPED_SETUP", field(*form, "setup")).set("TYPED_SITE", name).set("TYPED_HANDLE", account.handle);
    }
    showProblems(made, "set up the gallery", problems);
    return answerPage(made, visitor, isGood(problems) ? 200 : 422);
}

Response Gallery::reset(const Request& request, const Visitor& visitor, const std::string& token) {
    const auto id = database_.accountOfReset(hashOf(token), now());
    const auto account = id ? database_.account(*id) : std::nullopt;
    if (!account) {
        Page made = page(request, visitor, "answer.html", "The link does not work");
        made.show("BAD").set("HEAD", "That link does not work any more");
        made.set("TEXT", "It was used, taken back, or is more than a day old. Ask an administrator for a new one.");
        made.set("PLACE", "/signin").set("BUTTON", "Sign In");
        return answerPage(made, visitor, 410).with("Referrer-Policy", "no-referrer");
    }
    Page made = page(request, visitor, "reset.html", "Choose a new password");
    std::map<std::string, std::string> problems{{"NEW", ""}};
    if (request.method == "POST") {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        problems["NEW"] = passwordProblem(field(*form, "new"), account->handle);
        if (isGood(problems)) {
            const std::string password = newPasswordHash(field(*form, "new"));
            bool isFirst = false;
            database_.write([&] {
                isFirst = database_.accountOfReset(hashOf(token), now()) == account->id;
                if (!isFirst) return;
                database_.setPassword(account->id, password);
                database_.setReset(account->id, "", 0);
                database_.endSessions(account->id, 0);
            });
            if (!isFirst) return errorPage(request, visitor, 410);
            if (account->isSuspended) return redirect("/signin");
            return signedIn(request, account->id, "/account");
        }
    }
    made.set("HERE", "/reset/" + token).set("NAME", account->handle);
    showProblems(made, "choose a new password", problems);
    return answerPage(made, visitor, isGood(problems) ? 200 : 422).with("Referrer-Policy", "no-referrer");
}

Response Gallery::accountPage(const Request& request, const Visitor& visitor, const std::string& what) {
    if (!visitor.account) return toSignIn(request);
    const Account& account = *visitor.account;
    const bool isPost = request.method == "POST";
    std::string problem, typedHandle = account.handle, typedEmail = account.email;
    bool isPasswordWrong = false;
    int status = 200;
    if (isPost) {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        const auto isOwner = [&] { // with the patience of the sign-in page
            const std::string bucket = "password:" + std::to_string(account.id);
            isPasswordWrong = true;
            if (database_.attempt(bucket, quarter, now()).count > tries) {
                problem = "That was a wrong password too often. Try again in 15 minutes.";
                return false;
            }
            if (isPasswordOf(&account, field(*form, "current"))) {
                database_.takeBack(bucket);
                isPasswordWrong = false;
                return true;
            }
            problem = "This is not your current password.";
            return false;
        };
        if (what == "handle") {
            const std::string handle = typedHandle = field(*form, "handle");
            problem = handleProblem(handle);
            const auto wait = problem.empty() ? secondsToWait("handle:" + std::to_string(account.id), 20, hour) : 0;
            if (wait) return errorPage(request, visitor, 429, wait);
            if (problem.empty() && !database_.setHandle(account.id, handle))
                problem = "Somebody else has this handle. Choose another.";
            if (problem.empty()) return redirect("/account?done=handle");
        } else if (what == "email") {
            const std::string email = typedEmail = trimmed(field(*form, "email"));
            problem = emailProblem(email);
            if (problem.empty() && !database_.setEmail(account.id, email))
                problem = "Another account has this e-mail address.";
            if (problem.empty()) return redirect("/account?done=email");
        } else if (what == "sign-out") {
            const std::string id = field(*form, "session");
            if (id == std::to_string(visitor.session.id)) return signOut(request, visitor);
            database_.endSession(account.id, std::strtoll(id.c_str(), nullptr, 10));
            return redirect("/account?done=sign-out");
        } else if (what == "sign-out-others") {
            database_.endSessions(account.id, visitor.session.id);
            return redirect("/account?done=sign-out");
        } else if (what == "password") {
            problem = passwordProblem(field(*form, "new"), account.handle);
            if (problem.empty() && isOwner()) {
                const std::string password = newPasswordHash(field(*form, "new"));
                database_.write([&] {
                    database_.setPassword(account.id, password);
                    database_.setReset(account.id, "", 0);
                    database_.endSessions(account.id, visitor.session.id);
                });
                return redirect("/account?done=password");
            }
        } else if (what == "delete") {
            if (account.isAdmin)
                problem = "You are an administrator. Let another one take that from you first.";
            else if (isOwner()) {
                deleteAccount(account);
                return redirect("/").with("Set-Cookie", cookie("session", "", 0));
            }
        }
        status = 422;
    }

    const std::string owned = counted(account.kept, "shader", "shaders");
    const bool isDeleting = what == "delete";
    Page made =
        page(request, visitor, isDeleting ? "account-delete.html" : "account.html",
             std::string(problem.empty() ? "" : "Error: ") + (isDeleting ? "Delete your account?" : "Your account"));
    made.set("OWNED", isDeleting ? owned : "Your " + owned);
    made.set("TYPED_HANDLE", typedHandle).set("TYPED_EMAIL", typedEmail);
    const auto at = [&](bool isHere) { return isHere ? problem : std::string(); };
    if (isDeleting && !problem.empty())
        made.add("PROBLEM").set("REASON", problem);
    else
        showProblems(made, "your account",
                     {{"HANDLE", at(what == "handle")},
                      {"EMAIL", at(what == "email")},
                      {"CURRENT", at(what == "password" && isPasswordWrong)},
                      {"NEW", at(what == "password" && !isPasswordWrong)}});
    static const std::map<std::string, std::string, std::less<>> said{
        {"handle", "Your handle is now "},
        {"email", "Your e-mail address is saved."},
        {"sign-out", "Signed out there."},
        {"password", "Your password is changed. Everything else is signed out."}};
    if (const auto found = said.find(request.argument("done")); found != said.end() && !isPost)
        made.add("NOTE").set("SAID", found->first == "handle" ? found->second + account.handle + "." : found->second);
    for (const Session& session : database_.sessions(account.id)) {
        Values row = made.add("SESSION");
        const bool isThis = session.id == visitor.session.id;
        row.show(session.isProgram ? "PROGRAM" : "BROWSER").set("ID", session.id);
        row.set("NAME", isThis ? "This browser" : session.isProgram ? programName(session.agent) : session.agent);
        row.set("DETAIL", (isThis ? session.agent + " · " : "Last used " + whenText(session.seen, now()) + " · ") +
                              session.address + (session.isProgram ? " · allowed on " : " · since ") +
                              dateText(session.created));
    }
    return answerPage(made, visitor, status);
}

} // namespace glasshob::gallery
