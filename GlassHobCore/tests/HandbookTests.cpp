// The handbook's pages hold together: links lead somewhere, every function is told of, examples are shaders that
// compile (GlassHobRender's tests do that), and a word of the code finds its place.
#include "GlassHobCore/code/FunctionNotes.h"
#include "GlassHobCore/code/Handbook.h"
#include "GlassHobCore/code/LibraryNames.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <set>

namespace glasshob {
namespace {

TEST(Handbook, ItsLinksLeadSomewhere) {
    ASSERT_EQ(handbook::pages().size(), 11U);
    std::set<QString> linked = {QStringLiteral("README.md")};
    for (const handbook::Page& page : handbook::pages()) {
        SCOPED_TRACE(page.file.toStdString());
        EXPECT_FALSE(page.title.isEmpty());
        static const QRegularExpression link(QStringLiteral(R"(\]\(([^)#]*)(?:#([^)]*))?\))"));
        auto matches = link.globalMatch(page.text);
        while (matches.hasNext()) {
            const auto match = matches.next();
            const int target = handbook::pageOf(match.captured(1));
            ASSERT_GE(target, 0) << match.captured(0).toStdString();
            linked.insert(match.captured(1));
            if (match.captured(2).isEmpty()) continue;
            const auto headings = handbook::headings(handbook::pages()[std::size_t(target)]);
            EXPECT_TRUE(std::ranges::any_of(headings, [&](const auto& h) { return h.anchor == match.captured(2); }))
                << match.captured(0).toStdString();
        }
    }
    EXPECT_EQ(linked.size(), handbook::pages().size()) << "a page that no link leads to";
}

TEST(Handbook, EveryFunctionIsToldOfOnce) {
    std::multiset<std::string> told;
    for (const auto& group : libraryNames::functionGroups())
        for (const auto& note : group.functions) {
            told.insert(std::string(note.name));
            EXPECT_TRUE(note.text.ends_with('.')) << note.name;
        }
    for (const Symbol& function : libraryNames::functions())
        EXPECT_EQ(told.count(function.name.toStdString()), 1U) << function.name.toStdString();
    EXPECT_EQ(told.size(), libraryNames::functions().size());
}

// Set GLASSHOB_WRITE_HANDBOOK to write the file anew after a change of the library.
TEST(Handbook, TheFileOfFunctionsIsWhatTheTablesSay) {
    const QString wanted = handbook::functionsPage();
    QFile file(QStringLiteral(GLASSHOB_SOURCE_DIR "/handbook/functions.md"));
    if (qEnvironmentVariableIsSet("GLASSHOB_WRITE_HANDBOOK")) {
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(wanted.toUtf8());
        return;
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList there = QString::fromUtf8(file.readAll()).split(u'\n');
    const QStringList lines = wanted.split(u'\n');
    for (qsizetype i = 0; i < std::min(there.size(), lines.size()); ++i)
        ASSERT_EQ(there[i].toStdString(), lines[i].toStdString()) << "line " << i + 1;
    EXPECT_EQ(there.size(), lines.size());
}

TEST(Handbook, AWordOfTheCodeFindsItsPlace) {
    // What a place names must stand on its page.
    const auto expectPlace = [](const QString& word) {
        SCOPED_TRACE(word.toStdString());
        const auto place = handbook::placeOf(word);
        ASSERT_TRUE(place);
        ASSERT_GE(place->page, 0);
        const handbook::Page& page = handbook::pages()[std::size_t(place->page)];
        const auto headings = handbook::headings(page);
        if (!place->heading.isEmpty()) {
            EXPECT_TRUE(std::ranges::any_of(headings, [&](const auto& h) { return h.text == place->heading; }));
        }
        QString seen = page.text;
        seen.remove(u'`');
        seen.replace(u'\n', u' ');
        EXPECT_TRUE(seen.contains(place->text)) << place->text.toStdString();
    };
    for (const Symbol& directive : libraryNames::directives())
        expectPlace(u'@' + directive.name);
    for (const ShaderKind kind : {ShaderKind::fragment, ShaderKind::particles, ShaderKind::grid})
        for (const Symbol& function : libraryNames::entryFunctions(kind))
            expectPlace(function.name);
    for (const Symbol& record : libraryNames::hostTypes())
        for (const Symbol& field : record.parts)
            if (record.name == QLatin1String("Uniforms") && field.name != QLatin1String("pad")) expectPlace(field.name);
    for (const char* word : {"mix", "smoothstep", "simd_sum", "float3", "u.time", "uv", "thread"})
        expectPlace(QString::fromLatin1(word));
    EXPECT_FALSE(handbook::placeOf(u"hobRamp"));
}

TEST(Handbook, SearchFindsHeadingsFirst) {
    const auto hits = handbook::search(u"particles");
    ASSERT_GT(hits.size(), 3U);
    EXPECT_EQ(hits[0].excerpt, QStringLiteral("Particles"));
    for (const auto& hit : hits)
        EXPECT_TRUE(hit.excerpt.contains(QStringLiteral("particles"), Qt::CaseInsensitive));
    EXPECT_TRUE(handbook::search(u"  ").empty());
    EXPECT_TRUE(handbook::search(u"no such words anywhere").empty());
    EXPECT_EQ(handbook::search(u"e", 5).size(), 5U);
}

} // namespace
} // namespace glasshob
