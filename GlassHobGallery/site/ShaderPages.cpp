// The pages of shaders: lists, one shader, and what its author and others do with it.

#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/site/SourceView.h"

#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

#include <algorithm>

namespace glasshob::gallery {

namespace {

constexpr std::int64_t onPage = 24;
constexpr std::int64_t hour = 3600;

std::string initial(const std::string& handle) {
    if (handle.empty()) return "?";
    return std::string(1, handle[0] >= 'a' && handle[0] <= 'z' ? char(handle[0] - 32) : handle[0]);
}

std::string field(const Request::Fields& form, std::string_view name) {
    const auto found = form.find(name);
    return found == form.end() ? std::string() : found->second;
}

// The address of a list with these filters, the empty ones left out.
std::string listAddress(std::initializer_list<std::pair<std::string_view, std::string_view>> filters) {
    std::string address = "/";
    for (const auto& [name, value] : filters)
        if (!value.empty()) (((address += address.size() == 1 ? "?" : "&") += name) += "=") += urlEncoded(value);
    return address;
}

void addRelative(Values values, const Shader& shader) {
    values.set("ID", shader.id)
        .set("SHADER_TITLE", shader.title)
        .set("AUTHOR", shader.handle)
        .set("WHEN", whenText(shader.created, now()));
}

void addSliders(Values& page, const std::string& params) {
    const QJsonArray list = QJsonDocument::fromJson(QByteArray::fromStdString(params)).array();
    if (list.isEmpty()) return;
    Values sliders = page.add("SLIDERS");
    sliders.set("N", std::int64_t(list.size()));
    for (const QJsonValue& one : list) {
        const double least = one["min"].toDouble(), most = one["max"].toDouble(1), value = one["default"].toDouble();
        const double share = most > least ? std::clamp((value - least) / (most - least), 0.0, 1.0) * 100 : 0;
        Values slider = sliders.add("SLIDER");
        slider.set("NAME", one["name"].toString().toStdString()).set("DETAIL", one["detail"].toString().toStdString());
        slider.set("DEFAULT", shortestText(float(value)))
            .set("LEAST", shortestText(float(least)))
            .set("MOST", shortestText(float(most)));
        slider.set("SHARE", QString::number(share, 'g', 4).toStdString());
    }
}

const char* licenceAddress(std::string_view licence) {
    if (licence == "cc-by-nc-sa-4.0") return "https://creativecommons.org/licenses/by-nc-sa/4.0/";
    if (licence == "cc-by-4.0") return "https://creativecommons.org/licenses/by/4.0/";
    return licence == "mit" ? "https://opensource.org/license/mit" : nullptr;
}

std::string licenceName(std::string_view raw) {
    for (const ShareUpload::Licence licence : ShareUpload::licences)
        if (rawValue(licence) == raw) return std::string(title(licence));
    return std::string(raw);
}

} // namespace

void Gallery::addCards(Values& page, const std::vector<Shader>& shaders, bool hasHandle, bool isFirstPage) const {
    Values cards = page.add("CARDS");
    int number = 0;
    for (const Shader& shader : shaders) {
        Values card = cards.add("CARD");
        card.set("ID", shader.id)
            .set("SHADER_TITLE", shader.title)
            .set("KIND", shader.kind)
            .set("AUTHOR", shader.handle);
        setTime(card, shader.created);
        card.show("LOOP", !shader.flashes && !shader.isReportedForFlashing).show("LAZY", ++number > 8 || !isFirstPage);
        card.show("SOUND", shader.hasSound).show(hasHandle ? "BY" : "ALONE");
        card.show("PRIVATE", shader.visibility == "private").show("UNLISTED", shader.visibility == "unlisted");
        card.show("HIDDEN", shader.hidden.has_value());
        if (shader.forks > 0)
            card.add("FORKS").set("N", shader.forks).set("FORK_WORD", shader.forks == 1 ? " fork" : " forks");
    }
}

Response Gallery::home(const Request& request, const Visitor& visitor) {
    Database::Filter filter;
    filter.kind = request.argument("kind");
    filter.tag = std::string(request.argument("tag").substr(0, 24));
    filter.words = asQString(request.argument("q")).trimmed().left(80).toStdString();
    const bool isKind = filter.kind == "fragment" || filter.kind == "particles" || filter.kind == "grid";
    if (!isKind) filter.kind.clear();
    if (const std::string_view before = request.argument("before"); !before.empty()) {
        const auto last = database_.shader(before);
        if (!last || last->visibility != "public" || last->hidden) return errorPage(request, visitor, 404);
        filter.before = last->number;
    }
    const Database::Tally tally = database_.tally();
    if (tally.shaders == 0 && filter.words.empty())
        return answerPage(page(request, visitor, "home-empty.html", "Shaders"), visitor);
    const bool isSearch = !filter.words.empty() || !filter.tag.empty();
    filter.limit = onPage + 1;
    std::vector<Shader> found = database_.shaders(filter);
    const bool hasOlder = found.size() > onPage;
    if (hasOlder) found.pop_back();

    const std::string quoted = "“" + filter.words + "”";
    Page made = page(request, visitor, "home.html",
                     !filter.words.empty() ? quoted
                     : isSearch            ? "“" + filter.tag + "”"
                                           : "Shaders");
    made.set("HEAD", isSearch ? "Results" : "Shaders").set("WORDS", filter.words);
    if (isSearch) {
        std::string with = filter.tag.empty() ? "" : " with the tag “" + filter.tag + "”";
        if (!filter.words.empty()) {
            const bool isOne = !filter.words.contains(' ');
            with += (with.empty() ? " with the " : " and the ") + std::string(isOne ? "word " : "words ") + quoted;
        }
        const bool isAll = filter.before == 0 && !hasOlder;
        const std::int64_t count = isAll ? std::int64_t(found.size()) : database_.count(filter);
        constexpr std::int64_t most = Database::mostCounted;
        made.set("SUMMARY", (count == 0     ? "No shader"
                             : count < most ? counted(count, "shader", "shaders")
                                            : std::to_string(most) + " shaders or more") +
                                with + ".");
    } else {
        made.set("SUMMARY", counted(tally.shaders, "shader", "shaders") + " by " +
                                counted(tally.people, "person", "people") + ", newest first.");
        made.show("MORE");
    }
    for (const auto& [name, kind] :
         {std::pair{"All", ""}, {"Fragment", "fragment"}, {"Particles", "particles"}, {"Grid", "grid"}})
        made.add("SEGMENT")
            .set("NAME", name)
            .set("PLACE", listAddress({{"kind", kind}, {"tag", filter.tag}, {"q", filter.words}}))
            .show("CHOSEN", filter.kind == kind);
    std::vector<std::string> tags = database_.mostUsedTags(8);
    if (!filter.tag.empty() && std::ranges::find(tags, filter.tag) == tags.end()) tags.insert(tags.begin(), filter.tag);
    if (!tags.empty()) {
        Values row = made.add("TAGS");
        for (const std::string& tag : tags) {
            const bool isChosen = tag == filter.tag;
            row.add("TAG")
                .set("NAME", tag)
                .set("PLACE", listAddress({{"kind", filter.kind}, {"tag", isChosen ? "" : tag}, {"q", filter.words}}))
                .show("CHOSEN", isChosen);
        }
    }
    for (const auto& [name, value] :
         {std::pair<const char*, const std::string&>{"kind", filter.kind}, {"tag", filter.tag}})
        if (!value.empty()) made.add("KEEP").set("KEPT", name).set("VALUE", value);
    if (!found.empty()) addCards(made, found, true, filter.before == 0);
    if (found.empty()) {
        Values nothing = made.add("NOTHING");
        nothing.set("ADVICE", filter.kind.empty() ? "Try fewer words, or another tag."
                                                  : "Only shaders of the kind “" + filter.kind +
                                                        "” were searched. Try fewer words, or all kinds.");
        if (!filter.kind.empty())
            nothing.add("ALL_KINDS").set("PLACE", listAddress({{"tag", filter.tag}, {"q", filter.words}}));
    }
    if (hasOlder)
        made.add("OLDER").set(
            "PLACE",
            listAddress(
                {{"kind", filter.kind}, {"tag", filter.tag}, {"q", filter.words}, {"before", found.back().id}}));
    return answerList(made, visitor);
}

Response Gallery::person(const Request& request, const Visitor& visitor, const std::string& handle) {
    const auto account = database_.accountOfHandle(handle);
    if (!account || (account->isSuspended && !visitor.isAdmin())) return errorPage(request, visitor, 404);
    if (account->handle != handle) {
        Response moved = redirect("/u/" + account->handle);
        moved.status = 301;
        return moved;
    }
    const bool isOwn = visitor.account && visitor.account->id == account->id;
    std::int64_t before = 0;
    if (const std::string_view id = request.argument("before"); !id.empty()) {
        const auto last = database_.shader(id);
        if (!last || last->account != account->id || !maySee(visitor, *last)) return errorPage(request, visitor, 404);
        before = last->number;
    }
    std::vector<Shader> found = database_.shadersOf(account->id, isOwn, before, onPage + 1);
    const bool hasOlder = found.size() > onPage;
    if (hasOlder) found.pop_back();
    Page made = page(request, visitor, "person.html", handle);
    made.set("FACE", initial(handle)).set("WHO", handle);
    const std::string date = dateText(account->created);
    const std::string since = date.substr(date.find(' ') + 1);
    made.set("SUMMARY",
             found.empty() ? "Here since " + since
                           : counted(isOwn ? account->kept : account->listed, "shader", "shaders") + " since " + since);
    if (found.empty())
        made.show("NOTHING");
    else
        addCards(made, found, false, before == 0);
    if (hasOlder) made.add("OLDER").set("PLACE", "/u/" + handle + "?before=" + found.back().id);
    return answerList(made, visitor);
}

Response Gallery::gone(const Request& request, const Visitor& visitor, const Shader& shader) {
    Page made = page(request, visitor, "error.html", "Gone");
    made.set("STATUS", 410).set("HEAD", "This shader is gone");
    const std::vector<Shader> forks = database_.forksOf("s/" + shader.id, 4);
    const std::string who = shader.deletedBy.empty()
                                ? "Its author deleted it."
                                : shader.deletedBy + " deleted it on " + dateText(*shader.deleted) + ".";
    made.set("TEXT", who + (forks.empty() ? "" : " What grew out of it is still here."));
    if (!forks.empty()) {
        Values list = made.add("FORKS");
        for (const Shader& fork : forks)
            list.add("FORK").set("ID", fork.id).set("FORK_TITLE", fork.title).set("FORK_HANDLE", fork.handle);
    }
    return answerPage(made, visitor, 410);
}

Response Gallery::shaderPage(const Request& request, const Visitor& visitor, const std::string& id) {
    const auto shader = database_.shader(id);
    // A private one says nothing of itself even when it is gone.
    if (shader && shader->deleted && shader->visibility != "private") return gone(request, visitor, *shader);
    if (!shader || !maySee(visitor, *shader)) return errorPage(request, visitor, 404);
    const bool isOwn = visitor.account && visitor.account->id == shader->account;
    Page made = page(request, visitor, "shader.html", shader->title + " by " + shader->handle);
    made.set("ID", shader->id)
        .set("SHADER_TITLE", shader->title)
        .set("AUTHOR", shader->handle)
        .set("KIND", shader->kind);
    made.set("FACE", initial(shader->handle));
    setTime(made, shader->created);
    if (shader->hidden)
        made.show("NOTED")
            .add("HIDDEN")
            .set("REASON", *shader->hidden)
            .set("THOSE", isOwn ? "you and the administrators" : "its author and the administrators");
    if (isOwn && request.argument("done") == "edit")
        made.show("NOTED").add("NOTE").set("SAID", "The details are saved.");
    made.show("FLASHES", shader->flashes || shader->isReportedForFlashing).show("SOUND", shader->hasSound);
    for (const std::string& tag : shader->tags)
        made.add("TAG").set("NAME", tag);
    if (!shader->description.empty()) made.add("DESCRIBED").set("DESCRIPTION", shader->description);
    made.show("OWN", isOwn);
    if (visitor.isAdmin()) made.add("OVERSEEN").show(shader->hidden ? "CAN_SHOW" : "CAN_HIDE");
    if (isSeenByLink(*shader)) {
        // What a chat or another site shows of a link to this page.
        const std::string kind = shader->kind == "particles" ? "A particle shader" : "A " + shader->kind + " shader";
        made.frame()
            .add("TOLD")
            .set("URL", config_.url + "/s/" + id)
            .set("NAME", shader->title + " by " + shader->handle)
            .set("ABOUT", shader->description.empty() ? kind + " to open, read and change." : shader->description);
        made.add("OPENABLE").set("SOURCE_URL", urlEncoded(config_.url + "/s/" + id + "/source.metal"));
    } else {
        made.add("CLOSED").set(
            "WHY",
            shader->visibility == "private"
                ? "Glass Hob cannot open a private shader from a link, because it reads the file without signing in. "
                  "Download it, or make it unlisted."
                : "While it is hidden, Glass Hob cannot open it from a link, and its address says that nothing is "
                  "there.");
    }
    made.set("SHOWN_BASE", config_.url.substr(config_.url.find("://") + 3));
    if (const char* place = licenceAddress(shader->licence))
        made.add("LICENCE").set("PLACE", place).set("NAME", licenceName(shader->licence));
    else
        made.show("RESERVED");
    made.set("SEEN_BY", shader->hidden ? isOwn ? "You and the administrators" : "Its author and the administrators"
                        : shader->visibility == "public"   ? "Everyone"
                        : shader->visibility == "unlisted" ? "Whoever has the link"
                                                           : "You");
    addSliders(made, shader->params);

    std::string origin = "Nothing: an original shader.";
    const std::string& item = shader->forkedFrom;
    const auto parent = item.starts_with("s/") ? database_.shader(item.substr(2)) : std::nullopt;
    const bool isParentOwn = parent && visitor.account && visitor.account->id == parent->account;
    if (parent && maySee(visitor, *parent) && (parent->visibility == "public" || isParentOwn)) {
        addRelative(made.add("ORIGIN"), *parent);
        origin.clear();
    } else if (parent && parent->deleted) {
        origin = "A deleted shader.";
    } else if (parent) { // its address is nobody's to learn here
        origin = "A shader that is not shown to everyone.";
    } else if (!item.empty()) {
        origin = item + ", which is not in this gallery.";
    }
    if (!origin.empty()) made.add("NO_ORIGIN").set("ORIGIN_TEXT", origin);
    const std::vector<Shader> forks = database_.forksOf("s/" + shader->id, 12);
    if (forks.empty()) {
        made.set("FORK_COUNT", "none yet").show("NO_FORKS");
    } else {
        Values list = made.add("FORK_LIST");
        made.set("FORK_COUNT", shader->forks);
        for (const Shader& fork : forks)
            addRelative(list.add("FORK"), fork);
    }
    made.show("REPORTABLE", !isOwn);

    const auto file = media_.open(shader->media.source);
    if (!file) throw std::runtime_error("The source of a shader is not there.");
    std::string source(std::size_t(file->size), '\0');
    const ssize_t got = pread(file->descriptor, source.data(), source.size(), 0);
    close(file->descriptor);
    source.resize(std::size_t(std::max<ssize_t>(got, 0)));
    addSource(made, source);
    return answerPage(made, visitor);
}

Response Gallery::shaderForm(const Request& request, const Visitor& visitor, const std::string& id,
                             const std::string& what) {
    const auto shader = database_.shader(id);
    if (!visitor.account) return toSignIn(request);
    if (!shader || !maySee(visitor, *shader)) return errorPage(request, visitor, 404);
    const bool isOwn = visitor.account->id == shader->account;
    if (isOwn == (what == "report")) return errorPage(request, visitor, 404);
    const bool isPost = request.method == "POST";
    std::optional<Fields> form;
    if (isPost && !(form = formOf(request, visitor))) return errorPage(request, visitor, 403);

    if (what == "delete") {
        if (isPost) {
            deleteShader(*shader);
            return redirect("/u/" + visitor.account->handle);
        }
        Page made = page(request, visitor, "delete.html", "Delete " + shader->title + "?");
        made.set("ID", id).set("SHADER_TITLE", shader->title);
        if (shader->forks > 0) made.add("FORKS").set("N", counted(shader->forks, "fork stays.", "forks stay."));
        return answerPage(made, visitor);
    }
    if (what == "report") {
        if (isPost) {
            const std::string reason = field(*form, "reason"),
                              text = asQString(field(*form, "text")).left(500).toStdString();
            if (reason != "flashes" && reason != "hurts" && reason != "copied" && reason != "other")
                return errorPage(request, visitor, 400);
            if (const auto wait = secondsToWait("report:" + std::to_string(visitor.account->id), 20, hour))
                return errorPage(request, visitor, 429, wait);
            database_.addReport(shader->number, visitor.account->id, reason, text, now());
            Page made = page(request, visitor, "answer.html", "Report sent");
            made.show("GOOD").set("HEAD", "Thank you").set("PLACE", "/").set("BUTTON", "All Shaders");
            made.set("TEXT", reason == "flashes"
                                 ? "An administrator will look at it. Until then the loop does not play by itself."
                                 : "An administrator will look at it.");
            return answerPage(made, visitor);
        }
        Page made = page(request, visitor, "report.html", "Report " + shader->title);
        made.set("ID", id).set("SHADER_TITLE", shader->title).set("AUTHOR", shader->handle);
        return answerPage(made, visitor);
    }

    Shader changed = *shader;
    std::string problem;
    if (isPost) {
        changed.title = trimmed(field(*form, "title"));
        changed.description = asQString(field(*form, "description")).replace("\r\n", "\n").toStdString();
        changed.licence = field(*form, "licence");
        changed.visibility = field(*form, "visibility");
        // The rules of an upload hold for its texts; its files are as they were.
        ShareUpload rules;
        rules.title = changed.title;
        rules.description = changed.description;
        rules.loop = "....ftyp";
        rules.thumb = "\xFF\xD8\xFF";
        const bool isKnown =
            std::ranges::any_of(ShareUpload::licences, [&](auto one) { return rawValue(one) == changed.licence; }) &&
            std::ranges::any_of(ShareUpload::visibilities,
                                [&](auto one) { return rawValue(one) == changed.visibility; });
        if (!isKnown) return errorPage(request, visitor, 400);
        if (const auto problems = rules.problems(); !problems.empty()) problem = problems.front();
        if (problem.empty()) {
            database_.changeShader(changed);
            return redirect("/s/" + id + "?done=edit");
        }
    }
    Page made = page(request, visitor, "edit.html",
                     std::string(problem.empty() ? "" : "Error: ") + "Change details of " + shader->title);
    made.set("ID", id).set("SHADER_TITLE", changed.title).set("DESCRIPTION", changed.description);
    if (!problem.empty()) made.add("PROBLEM").set("REASON", problem);
    for (const ShareUpload::Licence licence : ShareUpload::licences)
        made.add("LICENCE")
            .set("RAW", rawValue(licence))
            .set("NAME", title(licence))
            .show("CHOSEN", rawValue(licence) == changed.licence);
    made.show("IS_PUBLIC", changed.visibility == "public")
        .show("IS_UNLISTED", changed.visibility == "unlisted")
        .show("IS_PRIVATE", changed.visibility == "private");
    return answerPage(made, visitor, problem.empty() ? 200 : 422);
}

} // namespace glasshob::gallery
