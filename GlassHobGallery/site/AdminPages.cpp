// What administrators do: reports, hidden shaders, people, invitations. For everyone else there is nothing here.

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Text.h"

#include <algorithm>

namespace glasshob::gallery {

namespace {

constexpr std::int64_t day = 86400;

std::string field(const Request::Fields& form, std::string_view name) {
    const auto found = form.find(name);
    return found == form.end() ? std::string() : found->second;
}

const char* reasonName(std::string_view reason) {
    if (reason == "flashes") return "flashes";
    if (reason == "hurts") return "insults somebody";
    return reason == "copied" ? "somebody else’s work" : "something else";
}

void addTabs(Page& page, Database& database, std::string_view shown) {
    page.set("OPEN_REPORTS", database.countOfOpenReports())
        .set("ALL_HIDDEN", database.countOfHidden())
        .set("ALL_PEOPLE", database.countOfPeople());
    page.show("ON_REPORTS", shown == "reports")
        .show("ON_HIDDEN", shown == "hidden")
        .show("ON_PEOPLE", shown == "people");
}

} // namespace

Response Gallery::admin(const Request& request, const Visitor& visitor, const std::vector<std::string>& parts) {
    if (!visitor.account) return toSignIn(request);
    if (!visitor.isAdmin()) return errorPage(request, visitor, 404);
    const bool isPost = request.method == "POST";
    const std::string& what = parts[1];
    const std::string of = parts.size() > 2 ? parts[2] : "";
    if (what == "people" && !of.empty()) return adminPerson(request, visitor, of);
    std::optional<Fields> form;
    if (isPost && !(form = formOf(request, visitor))) return errorPage(request, visitor, 403);

    if (what == "hide" || what == "show" || what == "flashes" || what == "close") {
        const auto shader = database_.shader(of);
        if (!shader || !maySee(visitor, *shader)) return errorPage(request, visitor, 404);
        if (isPost && what == "hide") {
            const std::string why = asQString(field(*form, "why")).trimmed().left(500).toStdString();
            if (why.empty()) return redirect("/admin/hide/" + of);
            database_.write([&] {
                database_.setHidden(shader->number, why);
                database_.closeReports(shader->number, now());
            });
            return redirect("/admin/reports");
        }
        if (isPost && what == "show") database_.setHidden(shader->number, std::nullopt);
        if (isPost && what == "flashes") {
            database_.write([&] {
                database_.setFlashes(shader->number);
                database_.closeReports(shader->number, now());
            });
        }
        if (isPost && what == "close") database_.closeReports(shader->number, now());
        if (isPost) return redirect(what == "show" ? "/admin/hidden" : "/admin/reports");
        Page made = page(request, visitor, "admin-hide.html", "Hide " + shader->title + "?");
        made.set("ID", shader->id).set("SHADER_TITLE", shader->title).set("AUTHOR", shader->handle);
        return answerPage(made, visitor);
    }
    if (what == "reports" || what == "hidden") {
        const bool isHidden = what == "hidden";
        Page made = page(request, visitor, "admin-reports.html", isHidden ? "Hidden" : "Reports");
        addTabs(made, database_, what);
        const std::vector<Shader> shaders = isHidden ? database_.hiddenShaders() : database_.reportedShaders();
        if (shaders.empty())
            made.add("NONE").set("TEXT", isHidden ? "No shader is hidden." : "Nobody has reported anything.");
        for (const Shader& shader : shaders) {
            Values row = made.add("REPORT");
            row.set("ID", shader.id).set("SHADER_TITLE", shader.title).set("AUTHOR", shader.handle);
            row.show("CAN_SHOW", shader.hidden.has_value()).show("CAN_HIDE", !shader.hidden);
            if (isHidden) {
                row.add("QUOTE").set("TEXT", *shader.hidden).set("FROM", "The reason that its author reads");
                continue;
            }
            const std::vector<Report> reports = database_.reports(shader.number);
            row.show("CAN_CLOSE").show("CAN_FLASH", shader.isReportedForFlashing);
            row.add("COUNTED").set("N", counted(std::int64_t(reports.size()), "report", "reports"));
            for (const Report& report : reports) {
                row.add("CHIP").set("NAME", reasonName(report.reason));
                row.add("QUOTE")
                    .set("TEXT", report.text.empty() ? "(nothing more)" : report.text)
                    .set("FROM", report.handle + ", " + whenText(report.created, now()));
            }
        }
        return answerPage(made, visitor);
    }
    if (what == "joining") {
        if (isPost) {
            const std::string who = field(*form, "join");
            if (who != "invited" && who != "anyone" && who != "nobody") return errorPage(request, visitor, 400);
            database_.setSetting("join", who);
            return redirect("/admin/people");
        }
        Page made = page(request, visitor, "admin-joining.html", "Who may join?");
        const std::string who = whoMayJoin();
        made.show("IS_INVITED", who == "invited").show("IS_ANYONE", who == "anyone").show("IS_NOBODY", who == "nobody");
        return answerPage(made, visitor);
    }
    if (what == "invite" && !isPost)
        return answerPage(page(request, visitor, "admin-invite.html", "New invitation"), visitor);

    Page made = page(request, visitor, "admin-people.html", "People");
    addTabs(made, database_, "people");
    if (what == "invite") {
        const std::int64_t uses = field(*form, "uses") == "40" ? 40 : 1;
        const std::string days = field(*form, "days");
        const Moment expires = now() + (days == "30" ? 30 : days == "1" ? 1 : 7) * day;
        const std::string token = randomToken();
        database_.addInvitation(hashOf(token), visitor.account->id, uses, expires);
        made.add("INVITATION")
            .set("LINK", config_.url + "/join/" + token)
            .set("FOR", counted(uses, "person", "people"))
            .set("UNTIL", dateText(expires));
    }
    const std::string who = whoMayJoin();
    made.set("JOIN_TEXT", who == "anyone"   ? "Anyone can join."
                          : who == "nobody" ? "Nobody can join, with an invitation or without."
                                            : "Only people with an invitation can join.");
    made.show("INVITING", who != "nobody");
    const std::string words = asQString(request.argument("q")).trimmed().left(80).toStdString();
    made.set("WORDS", words);
    for (const Account& account : database_.people(words)) {
        Values row = made.add("ROW");
        row.set("NAME", account.handle)
            .set("EMAIL", account.email)
            .set("N", account.listed)
            .set("SINCE", dateText(account.created));
        row.show("IS_ADMIN", account.isAdmin)
            .show("IS_SUSPENDED", account.isSuspended)
            .show("NO_EMAIL", account.email.empty());
    }
    return answerPage(made, visitor);
}

Response Gallery::adminPerson(const Request& request, const Visitor& visitor, const std::string& handle) {
    const auto found = database_.accountNamed(handle);
    if (!found || found->handle != handle) return errorPage(request, visitor, 404);
    Account account = *found;
    const bool isSelf = account.id == visitor.account->id;
    std::string said, link;
    if (request.method == "POST") {
        const auto form = formOf(request, visitor);
        if (!form) return errorPage(request, visitor, 403);
        const std::string action = field(*form, "do");
        if (action == "reset") {
            link = makeResetLink(handle);
        } else if (action == "unreset") {
            database_.setReset(account.id, "", 0);
            said = "The password link does not work any more.";
        } else if (action == "sign-out") {
            database_.endSessions(account.id, isSelf ? visitor.session.id : 0);
            said = handle + " is signed out everywhere.";
        } else if (action == "promote") {
            database_.setAdmin(account.id, true);
            said = handle + " is an administrator now.";
        } else if (isSelf) {
            return errorPage(request, visitor, 403); // so that there is always one
        } else if (action == "demote") {
            database_.setAdmin(account.id, false);
            said = handle + " is no administrator any more.";
        } else if (action == "suspend") {
            database_.write([&] {
                database_.setSuspended(account.id, true);
                database_.endSessions(account.id, 0);
            });
            said = handle + " is suspended.";
        } else if (action == "lift") {
            database_.setSuspended(account.id, false);
            said = "The suspension is lifted.";
        } else {
            return errorPage(request, visitor, 400);
        }
        account = *database_.account(account.id);
    }
    Page made = page(request, visitor, "admin-person.html", handle + ", administration");
    made.set("FACE", std::string(1, handle[0] >= 'a' && handle[0] <= 'z' ? char(handle[0] - 32) : handle[0]))
        .set("WHO", handle);
    made.set("SUMMARY", "Joined on " + dateText(account.created) +
                            (account.invitedBy.empty() ? "" : " with an invitation by " + account.invitedBy) + " · " +
                            (account.email.empty() ? "no e-mail address" : account.email));
    if (!said.empty()) made.add("NOTE").set("SAID", said);
    if (!link.empty()) made.add("LINK").set("PLACE", link);
    made.show(database_.hasReset(account.id, now()) ? "HAS_LINK" : "NO_LINK");
    const std::vector<Session> sessions = database_.sessions(account.id);
    const auto programs = std::ranges::count_if(sessions, &Session::isProgram);
    made.set("SESSIONS", counted(std::int64_t(sessions.size()) - programs, "browser", "browsers") + ", " +
                             counted(programs, "device", "devices") + ".");
    made.show("CAN_SUSPEND", !isSelf && !account.isSuspended).show("CAN_LIFT", account.isSuspended);
    made.show("CAN_PROMOTE", !account.isAdmin).show("CAN_DEMOTE", account.isAdmin && !isSelf);
    return answerPage(made, visitor);
}

} // namespace glasshob::gallery
