#include "GlassHobCore/code/SymbolIndex.h"

#include <gtest/gtest.h>

#include <QStringList>

using namespace glasshob;

namespace {

std::string names(const std::vector<Symbol>& symbols) {
    QStringList list;
    for (const Symbol& symbol : symbols)
        list << symbol.name;
    return list.join(u' ').toStdString();
}

// Every symbol with the lines that it has.
std::string places(const std::vector<Symbol>& symbols) {
    std::string list;
    for (const Symbol& symbol : symbols)
        list += symbol.name.toStdString() + " " + std::to_string(symbol.line) + ":" + std::to_string(symbol.bodyLine) +
                "-" + std::to_string(symbol.endLine) + " (" + places(symbol.parts) + ")\n";
    return list;
}

std::string declarationOf(const QString& text, const char* name) {
    const SymbolIndex index(text);
    const Symbol* symbol = index.find(QString::fromLatin1(name));
    return symbol ? symbol->declaration.toStdString() : "(none)";
}

// What can be used at the bar.
std::string localsAt(QString text) {
    const qsizetype bar = text.indexOf(u'|');
    text.remove(bar, 1);
    const int line = int(text.left(bar).count(u'\n'));
    const int column = int(bar - (bar == 0 ? 0 : text.lastIndexOf(u'\n', bar - 1) + 1));
    QStringList list;
    for (const Symbol& symbol : SymbolIndex(text).locals(line, column))
        list << symbol.declaration;
    return list.join(QStringLiteral(", ")).toStdString();
}

const char* const shader = R"(// @param speed 0.6 0.0 3.0 How fast
#define TWICE(x) ((x) * 2)
using namespace metal;

// Where a ray begins
// and where it goes.
struct Ray {
    float3 from;
    float3 to;   // its direction
    float2 pair[4];
    float3 at(float t) const { return from + t * to; }
};
enum class Side { left, right };
constant float2 corners[] = { float2(0, 1), float2(1, 1) }, other = 1;
using Colour = float3;
template <typename T, int N> T first(array<T, N> values) { return values[0]; }

static inline float3 trace(thread Ray& ray, constant Params &p [[buffer(0)]], float far = max(1.0, 2.0))
{
    return ray.from; // } in a comment
}
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    return float4(1.0);
}
)";

} // namespace

TEST(SymbolIndex, ListsWhatAFileDeclares) {
    const SymbolIndex index{QString::fromUtf8(shader)};
    EXPECT_EQ(names(index.declarations()), "Ray Side corners other Colour first trace shade TWICE Params");
    const Symbol* ray = index.find(u"Ray");
    ASSERT_TRUE(ray);
    EXPECT_EQ(names(ray->parts), "from to pair at");
    EXPECT_EQ(ray->note, "Where a ray begins and where it goes.");
    EXPECT_EQ(ray->parts[1].note, "its direction");
    EXPECT_EQ(ray->parts[2].type, "float2[4]");
    EXPECT_EQ(index.find(u"Params")->parts[0].note, "How fast");
    EXPECT_EQ(names(index.find(u"Side")->parts), "left right");
    EXPECT_EQ(index.find(u"Colour")->type, "float3");
    const std::pair<const char*, const char*> declarations[] = {
        {"trace", "float3 trace(thread Ray& ray, constant Params& p, float far)"},
        {"first", "template <typename T, int N> T first(array<T, N> values)"},
        {"corners", "constant float2 corners[]"},
        {"TWICE", "#define TWICE(x) ((x) * 2)"},
        {"nothing", "(none)"},
    };
    for (const auto& [name, declaration] : declarations)
        EXPECT_EQ(declarationOf(QString::fromUtf8(shader), name), declaration);
}

TEST(SymbolIndex, KnowsWhatIsInForceAtAPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"float f(float x) { float2 a = x, b[3]; | }", "float x, float2 a, float2 b[3]"},
        {"float f(float x) { float a = 1; { int inner; } | float later; }", "float x, float a"},
        {"float f(int n) {\n  for (int i = 0; i < n; i++) {\n    const float3 c = g(i, 2);\n|  }\n}",
         "int n, int i, const float3 c"},
        {"void f() { auto r = Ray{1, 2}; constexpr sampler s(filter::linear); |", "auto r, sampler s"},
        {"float f(float x) { return x; } |", ""},
        {"float f(float x|) { return x; }", ""},
        {"void f() { a = b * c; return d; x.y = z; | }", ""},
        {"struct S {\n  float k;\n  float g(float t) {\n    |\n  }\n};", "float k, float g(float t), float t"},
        // The brace of f is missing: what stands at the margin is still known.
        {"void f() {\n  if (x) {\n    float a;\n}\nfloat g(float y) {\n  float z;\n  |\n}", "float y, float z"},
        {"void f(float y) {\n    float z;\n    |", "float y, float z"},
        {"void f() { float a| = 1; }", ""},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(localsAt(QString::fromUtf8(text)), expected) << text;
}

TEST(SymbolIndex, AnEditGivesWhatReadingAnewGives) {
    // Lines of all kinds are put in, taken out and changed; after each edit the index says what a new one says.
    const QStringList pool = {"float3 a = b;",
                              "}",
                              "{",
                              "/*",
                              "*/",
                              "#define X 1",
                              "// @param q 1 0 2 note",
                              "",
                              "float f(int n) {",
                              "struct S {",
                              "    float m;",
                              "};",
                              "    g(1);",
                              "\"text\\"};
    QStringList text = QString::fromUtf8(shader).split(u'\n');
    SymbolIndex index(text.join(u'\n'));
    unsigned random = 12345;
    auto next = [&random](unsigned below) {
        random = random * 1664525u + 1013904223u;
        return (random >> 8) % below;
    };
    for (int step = 0; step < 2000; ++step) {
        const int first = int(next(unsigned(text.size())));
        const int removed = int(std::min<qsizetype>(next(3), text.size() - first));
        std::vector<QString> added;
        for (unsigned count = next(3) + (removed == int(text.size()) ? 1 : 0); count > 0; --count)
            added.push_back(pool[next(unsigned(pool.size()))]);
        if (removed == int(text.size()) && added.empty()) continue;
        index.replaceLines(first, removed, added);
        text.remove(first, removed);
        for (std::size_t i = 0; i < added.size(); ++i)
            text.insert(first + int(i), added[i]);
        const SymbolIndex anew(text.join(u'\n'));
        ASSERT_EQ(places(index.declarations()), places(anew.declarations())) << "step " << step;
        ASSERT_EQ(index.lineCount(), anew.lineCount());
        if (text.size() > 60) {
            index.setText(QString::fromUtf8(shader));
            text = QString::fromUtf8(shader).split(u'\n');
        }
    }
}

TEST(SymbolIndex, BracketsPairAcrossLinesAndPastComments) {
    const SymbolIndex index(QStringLiteral("f(a[1], { // )\n  \"(\" /* ( */ b })\n)"));
    using Place = SymbolIndex::Place;
    const std::pair<Place, std::optional<Place>> cases[] = {
        {{0, 1}, Place{1, 17}}, {{1, 17}, Place{0, 1}}, {{0, 3}, Place{0, 5}},  {{0, 8}, Place{1, 16}},
        {{1, 3}, std::nullopt}, {{2, 0}, std::nullopt}, {{0, 0}, std::nullopt}, {{9, 9}, std::nullopt},
    };
    for (const auto& [bracket, partner] : cases)
        EXPECT_EQ(index.partner(bracket), partner) << bracket.line << ':' << bracket.column;
}
