#include "GlassHobCore/code/Handbook.h"

#include "GlassHobCore/code/FunctionNotes.h"
#include "GlassHobCore/code/LibraryNames.h"
#include "GlassHobCore/text/Text.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <utility>

// Resources of a static library are only there when somebody asks for them; the macro must stand outside of a
// namespace.
static void loadHandbookFiles() {
    Q_INIT_RESOURCE(handbook);
}

namespace glasshob::handbook {

namespace {

constexpr const char* files[] = {"README.md",     "first-shader.md", "values.md", "kinds.md",  "sound.md",
                                 "directives.md", "language.md",     "window.md", "export.md", "episodes.md", "functions.md"};

bool isFence(QStringView line) {
    return line.startsWith(QLatin1String("```"));
}

// A line as a reader sees it: without the marks of headings, lists, tables, links and code.
QString plain(QString line) {
    static const QRegularExpression link(QStringLiteral(R"(\[([^\]]*)\]\([^)]*\))"));
    line.replace(link, QStringLiteral("\\1"));
    while (!line.isEmpty() && (line[0] == u'#' || line[0] == u'-' || line[0] == u'|' || line[0].isSpace()))
        line.remove(0, 1);
    if (line.endsWith(u'|')) line.chop(1);
    line.replace(QStringLiteral(" | "), QStringLiteral("  "));
    line.remove(u'`');
    line.remove(u'*');
    return line.trimmed();
}

QString anchorOf(const QString& heading) {
    QString anchor;
    for (const QChar c : heading.toLower()) {
        if (c.isLetterOrNumber() || c == u'-' || c == u'_') anchor += c;
        if (c == u' ') anchor += u'-';
    }
    return anchor;
}

// "a half or float scalar or vector" for a column of a table: "half or float".
QString shortened(QString types) {
    types.replace(QStringLiteral("a numeric scalar"), QStringLiteral("numbers"));
    types.replace(QStringLiteral("an integer scalar"), QStringLiteral("integers"));
    types.remove(QStringLiteral(" or vector"));
    types.remove(QStringLiteral(" scalar"));
    if (types.startsWith(QLatin1String("a "))) types.remove(0, 2);
    return types;
}

Place at(const char* file, const char* heading, const char* inText = "") {
    return {pageOf(QString::fromLatin1(file)), QString::fromLatin1(heading), QString::fromLatin1(inText)};
}

} // namespace

const std::vector<Page>& pages() {
    static const std::vector<Page> all = [] {
        loadHandbookFiles();
        std::vector<Page> made;
        for (const char* name : files) {
            QFile file(QStringLiteral(":/handbook/") + QString::fromLatin1(name));
            if (!file.open(QIODevice::ReadOnly)) continue;
            Page page{QString::fromLatin1(name), {}, QString::fromUtf8(file.readAll())};
            page.title = page.text.section(u'\n', 0, 0).mid(2);
            made.push_back(std::move(page));
        }
        return made;
    }();
    return all;
}

int pageOf(QStringView file) {
    const auto found = std::ranges::find_if(pages(), [&](const Page& page) { return page.file == file; });
    return found == pages().end() ? -1 : int(found - pages().begin());
}

std::vector<Heading> headings(const Page& page) {
    std::vector<Heading> found;
    bool isCode = false;
    for (const QString& line : page.text.split(u'\n')) {
        if (isFence(line)) isCode = !isCode;
        if (isCode || !line.startsWith(u'#')) continue;
        const auto level = int(std::ranges::find_if(line, [](QChar c) { return c != u'#'; }) - line.begin());
        const QString heading = line.mid(level + 1);
        found.push_back({level, heading, anchorOf(heading)});
    }
    return found;
}

std::vector<Example> examples(const Page& page) {
    std::vector<Example> found;
    QString heading = page.title;
    QString code;
    bool isCode = false;
    bool isShader = false;
    for (const QString& line : page.text.split(u'\n')) {
        if (isFence(line)) {
            if (isCode && isShader) found.push_back({heading, code});
            isCode = !isCode;
            isShader = isCode && line == QLatin1String("```metal shader");
            code.clear();
        } else if (isCode) {
            code += line + u'\n';
        } else if (line.startsWith(u'#')) {
            heading = plain(line);
        }
    }
    return found;
}

std::optional<Place> placeOf(QStringView word) {
    using Entry = std::pair<const char*, Place>;
    static const std::vector<Entry> known = {
        {"uv", at("values.md", "uv: where the pixel is")},
        {"u", at("values.md", "u: the frame")},
        {"Uniforms", at("values.md", "u: the frame")},
        {"resolution", at("values.md", "u: the frame", "u.resolution")},
        {"time", at("values.md", "u: the frame", "u.time")},
        {"timeDelta", at("values.md", "u: the frame", "u.timeDelta")},
        {"mouse", at("values.md", "u: the frame", "u.mouse")},
        {"frame", at("values.md", "u: the frame", "u.frame")},
        {"p", at("values.md", "p: the sliders")},
        {"Params", at("values.md", "p: the sliders")},
        {"Trails", at("values.md", "Trails")},
        {"trails", at("values.md", "Trails")},
        {"shade", at("kinds.md", "Every pixel")},
        {"Particle", at("kinds.md", "Particles")},
        {"spawn", at("kinds.md", "Particles", "spawn makes")},
        {"update", at("kinds.md", "Particles", "update moves")},
        {"place", at("kinds.md", "Particles", "place says")},
        {"ink", at("kinds.md", "Particles", "ink gives")},
        {"fade", at("kinds.md", "Particles", "fade says")},
        {"Vertex", at("kinds.md", "A grid of squares")},
        {"corner", at("kinds.md", "A grid of squares", "corner puts")},
        {"background", at("kinds.md", "A grid of squares", "background fills")},
        {"sound", at("sound.md", "Sound")},
        {"@param", at("directives.md", "@param")},
        {"@particles", at("directives.md", "@particles")},
        {"@grid", at("directives.md", "@grid")},
        {"@still", at("directives.md", "@still")},
        {"@episode", at("directives.md", "The episode", "@episode")},
        {"@length", at("directives.md", "The episode", "@length")},
        {"@variation", at("directives.md", "The episode", "@variation 30")},
        {"@variations", at("directives.md", "The episode", "@variations")},
        {"@teaches", at("directives.md", "The episode", "@teaches")},
        {"@category", at("directives.md", "The episode", "@category")},
        {"@tags", at("directives.md", "The episode", "@tags")},
        {"@final", at("directives.md", "The episode", "@final")},
        {"@forked-from", at("directives.md", "@forked-from")},
        {"thread", at("language.md", "Functions and what they may change")},
        {"constant", at("language.md", "Functions and what they may change", "constant memory")},
    };
    const QByteArray name = word.toUtf8();
    const QStringView last = word.startsWith(QLatin1String("u.")) ? word.mid(2) : word;
    for (const auto& [text, place] : known)
        if (name == text || (last.size() != word.size() && last == QLatin1String(text))) return place;
    if (!libraryNames::onFunction({name.constData(), std::size_t(name.size())}).empty())
        return Place{pageOf(u"functions.md"), {}, word.toString() + u'('};
    if (libraryNames::isBuiltinType(word)) return at("language.md", "Numbers and vectors");
    return std::nullopt;
}

std::vector<Hit> search(QStringView wanted, std::size_t most) {
    std::vector<Hit> inHeadings;
    std::vector<Hit> inText;
    const QString needle = wanted.trimmed().toString();
    if (needle.isEmpty()) return {};
    for (int i = 0; i < int(pages().size()); ++i) {
        QString heading;
        bool isCode = false;
        for (const QString& line : pages()[std::size_t(i)].text.split(u'\n')) {
            if (isFence(line)) {
                isCode = !isCode;
                continue;
            }
            const bool isHeading = !isCode && line.startsWith(u'#');
            if (isHeading) heading = plain(line);
            const QString seen = isCode ? line.trimmed() : plain(line);
            if (!seen.contains(needle, Qt::CaseInsensitive)) continue;
            const bool isItsFunction = seen.contains(u' ' + needle + u'(') && line.startsWith(u'|');
            if (isItsFunction)
                inHeadings.insert(inHeadings.begin(), {{i, heading, needle + u'('}, seen});
            else if (isHeading)
                inHeadings.push_back({{i, heading, {}}, seen});
            else
                inText.push_back({{i, heading, needle}, seen});
        }
    }
    inHeadings.insert(inHeadings.end(), inText.begin(), inText.end());
    if (inHeadings.size() > most) inHeadings.resize(most);
    return inHeadings;
}

QString functionsPage() {
    QString page = QStringLiteral(
        "# Functions\n\nEvery function of the library, as the compiler has them. T stands for what the last column "
        "names: of numbers also their\nvectors, with which a function works part by part. A scalar beside a vector is "
        "meant for every part: `max(q, 0.0)`,\n`mix(a, b, 0.5)`.\n");
    for (const libraryNames::FunctionGroup& group : libraryNames::functionGroups()) {
        page += QStringLiteral("\n## %1\n\n").arg(asQString(group.title));
        if (!group.text.empty()) page += asQString(group.text) + QStringLiteral("\n\n");
        page += QStringLiteral("| function | what it gives | T |\n|---|---|---|\n");
        for (const libraryNames::FunctionNote& note : group.functions) {
            const auto& all = libraryNames::functions();
            const auto found = std::ranges::find(all, asQString(note.name), &Symbol::name);
            if (found == all.end()) continue;
            const QString types = shortened(libraryNames::typeParameterOf(found->name));
            page += QStringLiteral("| `%1` | %2 | %3 |\n").arg(found->declaration, asQString(note.text), types);
        }
    }
    return page;
}

} // namespace glasshob::handbook
