#include "GlassHobCore/code/CodeCompletion.h"
#include "GlassHobCore/code/ExpressionType.h"
#include "GlassHobCore/code/LibraryNames.h"
#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/Params.h"
#include "MSL/Compiler.h"
#include "MSL/Language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QStringList>

using namespace glasshob;

namespace {

struct Placed {
    SymbolIndex index;
    int line, column;
};

// A text with a bar where the caret stands.
Placed placed(QString text) {
    const qsizetype bar = text.indexOf(u'|');
    text.remove(bar, 1);
    const int line = int(text.left(bar).count(u'\n'));
    const int column = int(bar - (bar == 0 ? 0 : text.lastIndexOf(u'\n', bar - 1) + 1));
    return {SymbolIndex(text), line, column};
}

Completions completed(const QString& text, bool isAsked = false) {
    const Placed at = placed(text);
    return CodeCompletion::complete(at.index, at.line, at.column, isAsked);
}

std::string first(const Completions& list, std::size_t count) {
    QStringList names;
    for (std::size_t i = 0; i < std::min(count, list.items.size()); ++i)
        names << list.items[i].symbol.name;
    return names.join(u' ').toStdString();
}

bool offers(const Completions& list, const char* name) {
    return std::ranges::any_of(list.items,
                               [&](const Completion& item) { return item.symbol.name == QLatin1String(name); });
}

const QString head = QStringLiteral(R"(// @param speed 0.6 0.0 3.0 How fast
struct Ray { float3 from; half2 bend; float4 rows[3]; float3 at(float t) const { return from; } };
using Colour = float4;
constant float3x4 turn = 1;
Ray aim(float2 uv) { return Ray{}; }
float shade(float2 uv, constant Uniforms& u, constant Params& p, thread Ray* rays, texture2d<half> image) {
    Colour c = 1; auto a = aim(uv).from * 2.0; int i = 0; Ray r;
)");

// Every method that is offered for a kind of texture is taken by the compiler with the arguments that its signature
// names, and gives what it says.
TEST(LibraryNames, TextureMethodsAreTheCompilers) {
    QString source = QStringLiteral("#include <metal_stdlib>\nusing namespace metal;\n");
    int calls = 0;
    for (const std::string_view shape : msl::language::textureNames()) {
        const QString name = QString::fromStdString(std::string(shape));
        const bool isMultisample = name.contains(QLatin1String("_ms")), isBuffer = name == u"texture_buffer";
        for (const char* access : {"sample", "read", "write", "read_write"}) {
            const bool isSample = QLatin1String(access) == QLatin1String("sample");
            const bool isRead = QLatin1String(access) == QLatin1String("read");
            if (isMultisample ? !isRead : isBuffer && isSample) continue;
            if (name.startsWith(QLatin1String("depth")) && !isSample && !isRead) continue;
            const QString type = QStringLiteral("%1<float, access::%2>").arg(name, QLatin1String(access));
            source += QStringLiteral("void f%1(%2 t, sampler s) {\n").arg(++calls).arg(type);
            for (const Symbol& method : libraryNames::membersOf(type)) {
                QStringList arguments;
                const QString inBrackets = method.declaration.section(u'(', 1).chopped(1);
                for (const QString& parameter : inBrackets.split(QLatin1String(", "), Qt::SkipEmptyParts))
                    arguments << (parameter == u"sampler s" ? QStringLiteral("s")
                                                            : parameter.section(u' ', 0, 0) + QStringLiteral("(0)"));
                const QString call =
                    QStringLiteral("t.%1(%2);\n").arg(method.name, arguments.join(QLatin1String(", ")));
                const QString result = libraryNames::memberType(type, method.name);
                source += result == u"void" ? call : QStringLiteral("{ %1 r = %2 }\n").arg(result, call);
            }
            source += QStringLiteral("}\n");
        }
    }
    const auto compiled = msl::compile(source.toStdString(), {.warnings = msl::CompileOptions::Warnings::ignored});
    EXPECT_TRUE(compiled) << compiled.error().text;
    const auto offered = [](const char* type) {
        QStringList names;
        for (const Symbol& method : libraryNames::membersOf(QLatin1String(type)))
            names << method.declaration;
        return names.join(u'\n').toStdString();
    };
    EXPECT_THAT(offered("texture2d_array<float>"),
                testing::HasSubstr("float4 sample(sampler s, float2 coord, uint array)"));
    EXPECT_THAT(offered("depth2d<float>"), testing::HasSubstr("float4 gather_compare("));
    EXPECT_THAT(offered("texture2d<half, access::write>"), testing::Not(testing::HasSubstr("sample(")));
}

TEST(LibraryNames, WhatADirectiveShowsIsUnderstood) {
    for (const Symbol& directive : libraryNames::directives()) {
        const std::string line = directive.declaration.toStdString() + "\n";
        const bool isUnderstood = EpisodeMeta::parse(line) != EpisodeMeta{} || !ParamParser::parse(line).empty() ||
                                  ShaderAssembler::kind(line) != ShaderKind::fragment;
        EXPECT_EQ(isUnderstood, directive.name != u"forked-from") << line; // which only the gallery reads
    }
    for (const Symbol& attribute : libraryNames::attributes()) {
        EXPECT_NE(attribute.name, u"barycentric_coord") << "refused by the compiler";
        if (attribute.name == u"buffer") EXPECT_EQ(attribute.declaration, u"[[buffer(0)]]");
        if (attribute.declaration.endsWith(u")]]"))
            EXPECT_FALSE(attribute.note.isEmpty()) << attribute.name.toStdString();
    }
}

} // namespace

TEST(CodeCompletion, OffersTheNearestFirst) {
    struct Case {
        const char* text;
        const char* expected; // the first ones
    };
    const Case cases[] = {
        {"void f() { smo| }", "smoothstep"},
        {"void f(float smooth) { x = smo| }", "smooth smoothstep"},
        {"float mixed(float x) { return x; }\nvoid f() { x = mi| }", "mixed min mix"},
        {"void f() { sin| }", "sin sinh sinpi sincos"},
        {"void f() { float3 a; flo| }", "float float2"},
        {"void f() { x = flo| }", "floor float"},
        {"void f() { ret| }", "return"},
        {"void f() { tpig| }", ""},
        {"kernel void f(uint i [[tpig| ]]) {}", "thread_position_in_grid"},
        {"kernel void f(uint i [[thread_position_in_g|", "thread_position_in_grid"},
        {"constant Uni|", "Uniforms"},
        {"// @par|", "param particles"},
        {"//@|", "param particles grid still"},
        {"#inc|", "include"},
        {"void f() { constexpr sampler s(filter::|); }", "linear nearest"},
        {"enum class Side { left, right };\nvoid f() { x = Side::| }", "left right"},
        {"void f() { precise::si| }", "sin sign sinh"},
        {"sha|", "shade"},
        {"// @particles 9\nspa|", "spawn"},
        {"// @grid 9\ncor|", "corner"},
        {"#define TWICE 2\nvoid f() { x = TW| }", "TWICE"},
        {"void f() { x = M_PI| }", "M_PI_F M_PI_H M_PI_2_F"},
    };
    for (const Case& c : cases) {
        const Completions list = completed(QString::fromUtf8(c.text));
        const std::size_t count = std::size_t(QString::fromUtf8(c.expected).split(u' ', Qt::SkipEmptyParts).size());
        EXPECT_EQ(first(list, std::max<std::size_t>(count, 1)), c.expected) << c.text;
    }
}

TEST(CodeCompletion, MembersFollowTheTypeOfWhatStandsBeforeTheDot) {
    const std::pair<const char*, const char*> cases[] = {
        {"u.|", "resolution time timeDelta mouse frame"},
        {"p.|", "speed"},
        {"r.|", "from bend rows at"},
        {"r.be|", "bend"},
        {"aim(uv).|", "from bend rows at"},
        {"aim(u.mouse / u.resolution).fr|", "from"},
        {"r.bend.|", "x y r g xy yx rg"},
        {"r.rows[0].|", "x y z w r g b a xy xyz"},
        {"rays[1].|", "from bend rows at"},
        {"rays->|", "from bend rows at"},
        {"(r.from + 1.0).|", "x y z r g b"},
        {"c.xyz.|", "x y z r g b"},
        {"a.|", "x y z r g b"},
        {"turn[0].|", "x y z w"},
        {"(turn * r.from).|", "x y z w"},
        {"mix(r.from, r.from, 0.5).|", "x y z r"},
        {"length(r.from).|", ""},
        {"normalize(c).xy.|", "x y r g"},
        {"float3(1.0).|", "x y z r"},
        {"image.sample(s, uv).|", "x y z w"},
        {"image.ge|", "get_width get_height get_num_mip_levels"},
        {"r.at(1.0).|", "x y z r"},
        {"vec<float, 2>(1).|", "x y r g"},
        {"as_type<uint2>(uv).|", "x y r g"},
        {"i.|", ""},
        {"unknown.|", ""},
        {"f(\n        uv).|", ""},
        {"1.|", ""},
    };
    for (const auto& [text, expected] : cases) {
        const Completions list = completed(head + QString::fromUtf8(text));
        const std::size_t count = std::size_t(QString::fromUtf8(expected).split(u' ', Qt::SkipEmptyParts).size());
        EXPECT_EQ(first(list, std::max<std::size_t>(count, 1)), expected) << text;
        EXPECT_TRUE(count == 0 || list.context == Completions::Context::member);
    }
    // What a vector of two has not is not offered.
    EXPECT_FALSE(offers(completed(head + QStringLiteral("uv.|")), "z"));
}

TEST(CodeCompletion, ComesByItselfOnlyWhereItHelps) {
    const std::pair<const char*, bool> cases[] = {
        {"void f() { s| }", false},
        {"void f() { sm| }", true},
        {"void f() { sin| }", false},
        {"void f() { float si| }", false},
        {"void f(Ray ra|", false},
        {"void f() { return si| }", true},
        {"// just some words sm|", false},
        {"x = \"sm|", false},
        {"/* sm| */", false},
        {"void f() { x = 12sm| }", false},
        {"void f() { qqqq| }", false},
        {"// @|", true},
        {"// see @param|", false},
        {"void f(float a [[buffer(|", false},
        {"#include <met|", false},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(completed(QString::fromUtf8(text)).comesByItself, expected) << text;
    EXPECT_FALSE(completed(QStringLiteral("void f() { | }"), true).items.empty()) << "asked for, everything is offered";
}

TEST(CodeCompletion, WhatIsAcceptedFitsItsPlace) {
    using Context = Completions::Context;
    auto accepted = [](const QString& text, const char* name) -> std::string {
        const Placed at = placed(text);
        const Completions list = CodeCompletion::complete(at.index, at.line, at.column, true);
        const QString line = at.index.lines()[std::size_t(at.line)].text;
        for (const Completion& item : list.items) {
            if (item.symbol.name != QLatin1String(name)) continue;
            Insertion made = CodeCompletion::insertion(item.symbol, list.context, QStringView(line).mid(list.to));
            made.text.insert(made.caret, u'|');
            return (line.left(list.from) + made.text + line.mid(list.to)).toStdString();
        }
        return "not offered";
    };
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"void f() { x = smo|; }", "smoothstep", "void f() { x = smoothstep(|); }"},
        {"void f() { x = smo|(1); }", "smoothstep", "void f() { x = smoothstep|(1); }"},
        {"float g() { return 1; } void f() { x = g|; }", "g", "float g() { return 1; } void f() { x = g()|; }"},
        {"void f() { flo| }", "float2", "void f() { float2| }"},
        {"void f(uint i [[buf|", "buffer", "void f(uint i [[buffer(0|)]]"},
        {"void f(uint i [[vert|]])", "vertex_id", "void f(uint i [[vertex_id|]])"},
        {"// @par|", "param", "// @param |"},
        {"// @forked-f|", "forked-from", "// @forked-from |"},
        {"void f() { fil| }", "filter", "void f() { filter::| }"},
        {"sou|", "sound", "float2 sound(float t, constant Params& p) {\n    |\n}"},
    };
    for (const auto& [text, name, expected] : cases)
        EXPECT_EQ(accepted(QString::fromUtf8(text), name), expected);
    EXPECT_EQ(CodeCompletion::insertion({}, Context::name, u"").text, QString());
}

TEST(CodeCompletion, DescribesTheNameAtAPlace) {
    const std::pair<QString, const char*> cases[] = {
        {QStringLiteral("void f() { smooth|step(0, 1, x); }"), "T smoothstep(T edge0, T edge1, T x)"},
        {head + QStringLiteral("a|im(uv);"), "Ray aim(float2 uv)"},
        {head + QStringLiteral("x = u.ti|me;"), "float time"},
        {head + QStringLiteral("x = p.spe|ed;"), "float speed, 0 to 3"},
        {head + QStringLiteral("x = u|v;"), "float2 uv"},
        {head + QStringLiteral("x = aim(uv).a|t(1);"), "float3 at(float t)"},
        {QStringLiteral("// @sti|ll 4"), "// @still 4"},
        {QStringLiteral("float g(float x);\nfloat2 g(float2 x);\nvoid f() { |g(1); }"),
         "float g(float x) / float2 g(float2 x)"},
        {QStringLiteral("// smooth|step"), ""},
        {QStringLiteral("void f() { x |= 1; }"), ""},
    };
    for (const auto& [text, expected] : cases) {
        const Placed at = placed(text);
        QStringList texts;
        for (const Symbol& symbol : CodeCompletion::describe(at.index, at.line, at.column))
            texts << symbol.declaration;
        EXPECT_EQ(texts.join(QStringLiteral(" / ")).toStdString(), expected) << text.toStdString();
    }
}

TEST(CodeCompletion, KnowsTheCallAroundAPlace) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"void f() { x = mix(a, |", "mix", 1},
        {"void f() { x = mix(sin(1, 2), b, |) }", "mix", 2},
        {"void f() { x = mix(a, (b + |", "mix", 1},
        {"void f() { if (|", "", 0},
        {"void f() { x = mix(a, b)|", "", 0},
        {"void f() { mix(a); x = |", "", 0},
        {"float g(float x) { }\nvoid f() { g(|", "g", 0},
        {"float g(|float x) { }", "", 0},
        {"void f() { x = a[mix(1, |", "mix", 1},
    };
    for (const auto& [text, name, argument] : cases) {
        const Placed at = placed(QString::fromUtf8(text));
        const auto call = CodeCompletion::callAround(at.index, at.line, at.column);
        EXPECT_EQ(call ? call->functions.front().name.toStdString() : "", name) << text;
        if (call) EXPECT_EQ(call->argument, argument) << text;
    }
}

TEST(CodeCompletion, AnyTextAndAnyPlaceAreTaken) {
    // A shader with letters taken out and signs put in, asked about everywhere.
    const QString signs = QStringLiteral("{}()[]<>;:,.*&=#/\"\\@ \n-aT1~");
    const QString whole =
        head + QStringLiteral("    return mix(r.from, c.xyz, 0.5).x;\n}\n// @still 4\n#define A(x) x\n");
    unsigned random = 99;
    auto next = [&random](qsizetype below) {
        random = random * 1664525u + 1013904223u;
        return qsizetype((random >> 8) % unsigned(below));
    };
    QString text = whole;
    for (int step = 0; step < 1500; ++step) {
        if (step % 60 == 0) text = whole;
        const qsizetype at = next(text.size());
        if (next(2) == 0)
            text.remove(at, 1 + next(3));
        else
            text.insert(at, signs[next(signs.size())]);
        const SymbolIndex index(text);
        const int line = int(next(index.lineCount()));
        const int column = int(next(index.lines()[std::size_t(line)].text.size() + 2));
        const Completions list = CodeCompletion::complete(index, line, column, step % 2 == 0);
        ASSERT_LE(list.from, list.to);
        ASSERT_LE(list.to, index.lines()[std::size_t(line)].text.size());
        CodeCompletion::describe(index, line, column);
        CodeCompletion::callAround(index, line, column);
    }
    // Nothing nested or made of itself takes for ever.
    QString values = QStringLiteral("void f() { auto a0 = float3(1);\n");
    for (int i = 1; i < 60; ++i)
        values += QStringLiteral("auto a%1 = a%2 + a%2;\n").arg(i).arg(i - 1);
    completed(values + QStringLiteral("a59.|"));
    completed(QStringLiteral("struct S { ").repeated(20000) + QStringLiteral("|"), true);
    completed(QStringLiteral("void f() { x = ") + QStringLiteral("g(").repeated(20000) + QStringLiteral("|"), true);
    completed(QStringLiteral("void f() { auto a = a; a.|"));
}

TEST(LibraryNames, NameWhatTheCompilerAndTheHostHave) {
    using namespace libraryNames;
    auto has = [](const std::vector<Symbol>& list, const char* name) {
        return std::ranges::any_of(list, [&](const Symbol& symbol) { return symbol.name == QLatin1String(name); });
    };
    EXPECT_GT(functions().size(), 150u);
    EXPECT_TRUE(has(functions(), "simd_sum") && has(functions(), "atomic_fetch_add_explicit"));
    EXPECT_TRUE(has(types(), "packed_float3") && has(types(), "float4x4") && has(types(), "texture2d"));
    EXPECT_FALSE(has(types(), "Uniforms"));
    EXPECT_TRUE(has(hostTypes(), "Uniforms") && has(hostTypes(), "Trails"));
    EXPECT_TRUE(has(entryFunctions(ShaderKind::particles), "fade") &&
                has(entryFunctions(ShaderKind::grid), "background"));
    for (const ShaderKind kind : {ShaderKind::fragment, ShaderKind::particles, ShaderKind::grid})
        EXPECT_TRUE(has(entryFunctions(kind), "shade") && has(entryFunctions(kind), "sound"));
}
