#include "GlassHobCore/LibraryNames.h"

#include "GlassHobCore/HostText.h"
#include "GlassHobCore/TextureMethods.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lex/PredefinedMacros.h"
#include "MSL/sema/AttributeTable.h"
#include "MSL/sema/LibraryConstants.h"
#include "MSL/types/TextureTraits.h"

#include <QStringList>

#include <algorithm>
#include <map>
#include <optional>

namespace glasshob::libraryNames {

namespace {

using Kind = Symbol::Kind;

// Types made once; after that they are only read.
const msl::TypeTable& typeTable() {
    static msl::Arena arena;
    static const msl::TypeTable table(arena);
    return table;
}

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), qsizetype(view.size()));
}

Symbol symbol(Kind kind, const QString& name, const QString& declaration, const QString& note = {}) {
    Symbol made;
    made.kind = kind;
    made.name = name;
    made.declaration = declaration;
    made.note = note;
    return made;
}

struct Described {
    const char* name;
    const char* form;
    const char* note;
};

std::vector<Symbol> described(Kind kind, std::initializer_list<Described> rows) {
    std::vector<Symbol> symbols;
    for (const Described& row : rows)
        symbols.push_back(
            symbol(kind, QString::fromUtf8(row.name), QString::fromUtf8(row.form), QString::fromUtf8(row.note)));
    return symbols;
}

msl::TypeRef builtin(const QString& type) {
    return msl::builtinType(typeTable(), type.toStdString());
}

QString typeText(msl::TypeRef type) {
    return type ? text(msl::typeName(type)) : QString();
}

const char* const components = "xyzw";
const char* const colours = "rgba";

// Which component a letter means; nothing for other letters.
std::optional<int> component(QChar letter, QStringView letters) {
    const qsizetype at = letters.indexOf(letter);
    return at < 0 ? std::nullopt : std::optional(int(at));
}

bool isVector(msl::TypeRef type) {
    return type && (type->is(msl::TypeKind::vector) || type->is(msl::TypeKind::packedVector));
}

std::vector<Symbol> functionsOf(const QString& source) {
    std::vector<Symbol> found;
    for (const Symbol& declared : SymbolIndex(source).declarations())
        if (declared.kind == Kind::function) found.push_back(declared);
    for (Symbol& function : found)
        function.line = function.bodyLine = function.endLine = -1;
    return found;
}

} // namespace

const std::vector<Symbol>& functions() {
    static const std::vector<Symbol> all = [] {
        std::vector<Symbol> made;
        for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
            // Names of the compiler's own are no business of a person's.
            if (function.name.starts_with("__")) continue;
            Symbol next =
                symbol(Kind::function, text(function.name), text(msl::signatureText(typeTable(), function, nullptr)));
            const std::string stands = msl::describeTypeParameter(*function.signature);
            if (!stands.empty()) next.note = QStringLiteral("T is %1.").arg(text(stands));
            next.parts.resize(function.signature->parameterCount);
            if (!made.empty() && made.back().name == next.name) continue;
            made.push_back(std::move(next));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& types() {
    static const std::vector<Symbol> all = [] {
        QStringList names = MSLSyntax::typeNames();
        for (const char* host : {"Uniforms", "Params", "Particle", "Vertex", "Trails", "texture2d"})
            names.removeAll(QLatin1String(host)); // they have their own kinds
        for (const char* scalar :
             {"bool", "char", "uchar", "short", "ushort", "int", "uint", "half", "float", "long", "ulong"})
            for (char size = '2'; size <= '4'; ++size) {
                names << QString::fromLatin1(scalar) + QLatin1Char(size);
                names << QStringLiteral("packed_") + QString::fromLatin1(scalar) + QLatin1Char(size);
            }
        names << QStringList{"int8_t",  "uint8_t",  "int16_t",   "uint16_t",    "int32_t",      "uint32_t",
                             "int64_t", "uint64_t", "ptrdiff_t", "atomic_bool", "atomic_float", "atomic_ulong"};
        names.removeDuplicates();
        std::ranges::sort(names);
        std::vector<Symbol> made;
        for (const QString& name : names)
            if (msl::isBuiltinTypeName(name.toStdString())) made.push_back(symbol(Kind::type, name, name));
        QStringList templates{QStringLiteral("array"), QStringLiteral("atomic"), QStringLiteral("matrix"),
                              QStringLiteral("numeric_limits"), QStringLiteral("vec")};
        for (const std::string_view name : msl::textureTemplateNames())
            templates << text(name);
        for (const QString& name : templates)
            if (msl::isBuiltinTemplateName(name.toStdString()))
                made.push_back(symbol(Kind::type, name, name + QStringLiteral("<>")));
        return made;
    }();
    return all;
}

const std::vector<Symbol>& keywords() {
    static const std::vector<Symbol> all = [] {
        QStringList names = MSLSyntax::keywordNames();
        std::ranges::sort(names);
        std::vector<Symbol> made;
        for (const QString& name : names)
            made.push_back(symbol(Kind::keyword, name, name));
        return made;
    }();
    return all;
}

const std::vector<Symbol>& constants() {
    static const std::vector<Symbol> all = [] {
        std::vector<Symbol> made;
        for (const msl::LibraryConstant& constant : msl::libraryConstants())
            if (constant.enumeration.empty())
                made.push_back(symbol(Kind::constant, text(constant.name), text(constant.name)));
        for (const char* name :
             {"M_PI_F",   "M_PI_2_F",  "M_PI_4_F",    "M_1_PI_F",  "M_2_PI_F",    "M_2_SQRTPI_F", "M_E_F",    "M_LN2_F",
              "M_LN10_F", "M_LOG2E_F", "M_LOG10E_F",  "M_SQRT2_F", "M_SQRT1_2_F", "M_PI_H",       "INFINITY", "NAN",
              "FLT_MAX",  "FLT_MIN",   "FLT_EPSILON", "HALF_MAX",  "HALF_MIN",    "HALF_EPSILON", "INT_MAX",  "INT_MIN",
              "UINT_MAX", "SHRT_MAX",  "SHRT_MIN",    "USHRT_MAX", "CHAR_BIT",    "METAL_FUNC"}) {
            if (!msl::isPredefinedMacro(name)) continue;
            const QString value = text(msl::predefinedMacroText(name));
            made.push_back(symbol(Kind::macro, QString::fromLatin1(name),
                                  QStringLiteral("#define %1 %2").arg(QLatin1String(name), value)));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& spaces() {
    static const std::vector<Symbol> all = [] {
        std::vector<Symbol> made;
        for (const char* name : {"metal", "fast", "precise"}) {
            const bool isWhole = QLatin1String(name) == QLatin1String("metal");
            Symbol space =
                symbol(Kind::space, QString::fromLatin1(name), QStringLiteral("namespace ") + QLatin1String(name));
            for (const Symbol& function : functions()) {
                const msl::BuiltinFunction* row = msl::findBuiltin(function.name.toStdString());
                if (isWhole || (row && row->hasPrecisions)) space.parts.push_back(function);
            }
            if (isWhole) std::ranges::copy(types(), std::back_inserter(space.parts));
            made.push_back(std::move(space));
        }
        for (const msl::LibraryConstant& constant : msl::libraryConstants()) {
            if (constant.enumeration.empty()) continue;
            const QString name = text(constant.enumeration);
            if (made.back().name != name) made.push_back(symbol(Kind::space, name, QStringLiteral("enum ") + name));
            Symbol part =
                symbol(Kind::enumerator, text(constant.name), name + QStringLiteral("::") + text(constant.name));
            part.type = name;
            made.back().parts.push_back(std::move(part));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& attributes() {
    static const std::vector<Symbol> all = [] {
        struct Note {
            const char* text;
            const char* arguments = nullptr; // where they are no number
        };
        static const std::map<std::string_view, Note> notes = {
            {"attribute", {"The place of a vertex's value in the vertex buffers."}},
            {"base_instance", {"The number of the first instance."}},
            {"base_vertex", {"What is added to each vertex number."}},
            {"buffer", {"The place where a buffer is bound."}},
            {"center_no_perspective", {"Blended without regard to depth."}},
            {"center_perspective", {"Blended with regard to depth, as without a word."}},
            {"centroid_no_perspective", {"Blended inside the covered part, without regard to depth."}},
            {"centroid_perspective", {"Blended inside the covered part."}},
            {"clip_distance", {"Cuts off what is below 0."}},
            {"color", {"The picture that a fragment's colour goes into."}},
            {"deprecated", {"Warns where it is used.", "\"message\""}},
            {"depth", {"The depth that a fragment writes.", "any"}},
            {"early_fragment_tests", {"Depth is tested before the fragment runs."}},
            {"fallthrough", {"A case that is meant to go on into the next."}},
            {"flat", {"Handed to the fragments as it is, not blended."}},
            {"front_facing", {"Whether the front of a triangle is seen."}},
            {"function_constant", {"A constant that is set when the program is made."}},
            {"host_name", {"The name by which the program is found.", "\"name\""}},
            {"id", {"The place of a member in an argument buffer."}},
            {"index", {"Which of two colours of one picture this is."}},
            {"instance_id", {"The number of the instance."}},
            {"invariant", {"Computed in the same way wherever it is written."}},
            {"max_total_threads_per_threadgroup", {"The most threads that a group will have.", "256"}},
            {"maybe_unused", {"No warning where it is not used."}},
            {"nodiscard", {"Warns where its result is not used."}},
            {"point_coord", {"The place inside a point, 0 to 1."}},
            {"point_size", {"The width of a point in pixels."}},
            {"position", {"The place of a vertex in clip space; of a fragment in pixels."}},
            {"primitive_id", {"The number of the triangle."}},
            {"quadgroup_index_in_threadgroup", {"The number of the four lanes' group."}},
            {"quadgroups_per_threadgroup", {"How many groups of four lanes there are."}},
            {"render_target_array_index", {"The layer of the picture that is drawn into."}},
            {"sample_id", {"The number of the sample in its pixel."}},
            {"sample_mask", {"Which samples are covered."}},
            {"sample_no_perspective", {"Blended for each sample, without regard to depth."}},
            {"sample_perspective", {"Blended for each sample."}},
            {"sampler", {"The place where a sampler is bound."}},
            {"simdgroup_index_in_threadgroup", {"The number of the lanes' group."}},
            {"simdgroups_per_threadgroup", {"How many groups of lanes there are."}},
            {"stage_in", {"What the vertex function handed on."}},
            {"texture", {"The place where a texture is bound."}},
            {"thread_index_in_quadgroup", {"The lane of the thread among four."}},
            {"thread_index_in_simdgroup", {"The lane of the thread."}},
            {"thread_index_in_threadgroup", {"The number of the thread in its group, as one number."}},
            {"thread_position_in_grid", {"The number of the thread among all."}},
            {"thread_position_in_threadgroup", {"The number of the thread in its group."}},
            {"threadgroup", {"The place where memory of a group is bound."}},
            {"threadgroup_position_in_grid", {"The number of the group."}},
            {"threadgroups_per_grid", {"How many groups there are."}},
            {"threads_per_grid", {"How many threads there are."}},
            {"threads_per_simdgroup", {"How many lanes run together."}},
            {"threads_per_threadgroup", {"How many threads a group has."}},
            {"user", {"A name that joins what is handed on with what is taken.", "name"}},
            {"vertex_id", {"The number of the vertex."}},
            {"viewport_array_index", {"The viewport that is drawn through."}},
        };
        std::vector<Symbol> made;
        for (const msl::KnownAttribute& known : msl::knownAttributes()) {
            if (known.use == msl::AttributeUse::refused) continue;
            const auto note = notes.find(known.name);
            const char* arguments = note != notes.end() ? note->second.arguments : nullptr;
            if (!arguments && known.use == msl::AttributeUse::index) arguments = "0";
            const QString form =
                arguments ? text(known.name) + u'(' + QLatin1String(arguments) + u')' : text(known.name);
            made.push_back(symbol(Kind::attribute, text(known.name), QStringLiteral("[[%1]]").arg(form),
                                  note != notes.end() ? QString::fromLatin1(note->second.text) : QString()));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& directives() {
    static const std::vector<Symbol> all = described(
        Kind::directive,
        {{"param", "// @param speed 0.6 0.0 3.0 How fast it moves",
          "A slider: its name, its default, its least and its greatest value, and a description."},
         {"particles", "// @particles 20000", "Makes a particle shader with so many particles, up to 4,000,000."},
         {"grid", "// @grid 96", "Makes a grid shader with so many cells along each side, up to 1024."},
         {"still", "// @still 4", "The second at which the picture is at its best, for stills and thumbnails."},
         {"episode", "// @episode 12 Smoke rings", "The number and the title of a tutorial episode."},
         {"length", "// @length 45", "How many seconds the episode shows the shader."},
         {"variation", "// @variation 20", "How many seconds each variation is shown."},
         {"variations", "// @variations 3, 7, 12", "The numbers of the variations that the episode shows."},
         {"teaches", "// @teaches polar coordinates", "What the episode teaches."},
         {"category", "// @category patterns", "The category under which it is found."},
         {"tags", "// @tags waves, colour", "Words by which it is found."},
         {"final", "// @final Title | Summary", "The title and the summary of the episode's last page."},
         {"forked-from", "// @forked-from s/ab12", "The gallery's shader that this one began as."}});
    return all;
}

const std::vector<Symbol>& preprocessorWords() {
    static const std::vector<Symbol> all =
        described(Kind::keyword, {{"include", "#include <metal_stdlib>", "The library; a shader here has it already."},
                                  {"define", "#define NAME text", "A name that stands for a text."},
                                  {"undef", "#undef NAME", ""},
                                  {"if", "#if condition", ""},
                                  {"ifdef", "#ifdef NAME", ""},
                                  {"ifndef", "#ifndef NAME", ""},
                                  {"elif", "#elif condition", ""},
                                  {"else", "#else", ""},
                                  {"endif", "#endif", ""},
                                  {"pragma", "#pragma", ""}});
    return all;
}

const std::vector<Symbol>& hostTypes() {
    static const std::vector<Symbol> all = [] {
        std::vector<Symbol> made;
        for (const std::string_view source : {hostText::prelude, hostText::trails}) {
            const SymbolIndex index(text(source));
            for (const Symbol& declared : index.declarations()) {
                if (declared.kind != Kind::structure || declared.name == u"Params") continue;
                made.push_back(declared);
                made.back().line = -1;
                for (Symbol& part : made.back().parts)
                    part.line = -1;
            }
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& entryFunctions(ShaderKind kind) {
    // What the host asks for stands in its own texts: the example of a new shader and the lists for the other kinds.
    static const auto lists = [] {
        auto fromHelp = [](std::string_view help) {
            QStringList lines = text(help).split(u'\n');
            for (QString& line : lines) {
                line.remove(QLatin1String("and optionally "));
                if (!line.startsWith(QLatin1String("struct"))) line += u';';
            }
            return functionsOf(lines.join(u'\n'));
        };
        std::array<std::vector<Symbol>, 3> made;
        auto& [fragment, particles, grid] = made;
        for (const Symbol& function : functionsOf(text(ShaderTemplate::make("x"))))
            if (function.name == u"shade" || function.name == u"sound") fragment.push_back(function);
        particles = fromHelp(ShaderAssembler::particleHelp);
        grid = fromHelp(ShaderAssembler::gridHelp);
        for (auto* list : {&particles, &grid})
            list->push_back(fragment.back());
        return made;
    }();
    return lists[std::size_t(kind)];
}

bool isBuiltinType(QStringView name) {
    return msl::isBuiltinTypeName(name.toString().toStdString());
}

std::vector<Symbol> membersOf(const QString& type) {
    if (auto methods = textureMethods(type)) return std::move(*methods);
    const msl::TypeRef vector = builtin(type);
    std::vector<Symbol> made;
    if (!isVector(vector)) return made;
    auto add = [&](const QString& name) {
        const QString result = memberType(type, name);
        Symbol part = symbol(Kind::member, name, result + u' ' + name);
        part.type = result;
        made.push_back(std::move(part));
    };
    const int count = vector->columns;
    for (const char* letters : {components, colours})
        for (int i = 0; i < count; ++i)
            add(QString(QLatin1Char(letters[i])));
    for (const char* swizzle : {"xy", "xyz", "xz", "yz", "zw", "yx", "rgb", "rg"}) {
        const bool fits = std::ranges::all_of(std::string_view(swizzle), [&](char c) {
            const auto at = component(QLatin1Char(c), u"xyzw");
            return (at ? *at : component(QLatin1Char(c), u"rgba").value_or(4)) < count;
        });
        if (fits) add(QString::fromLatin1(swizzle));
    }
    return made;
}

QString memberType(const QString& type, QStringView member) {
    if (const auto methods = textureMethods(type)) {
        for (const Symbol& method : *methods)
            if (method.name == member) return method.type;
        return {};
    }
    const msl::TypeRef vector = builtin(type);
    if (!isVector(vector) || member.isEmpty() || member.size() > 4) return {};
    const bool fits =
        std::ranges::any_of(std::initializer_list<QStringView>{u"xyzw", u"rgba"}, [&](QStringView letters) {
            return std::ranges::all_of(member, [&](QChar c) {
                const auto at = component(c, letters);
                return at && *at < int(vector->columns);
            });
        });
    return fits ? typeText(typeTable().vector(vector->scalar, unsigned(member.size()))) : QString();
}

QString elementType(const QString& type) {
    if (type.endsWith(u']')) {
        // The first brackets are the outer ones.
        const qsizetype open = type.indexOf(u'['), close = type.indexOf(u']', open);
        return type.left(open) + type.mid(close + 1);
    }
    if (type.endsWith(u'*')) return bareType(type);
    if (type.startsWith(QLatin1String("array<"))) return type.mid(6).section(u',', 0, 0).trimmed();
    const msl::TypeRef whole = builtin(type);
    if (!whole) return {};
    if (whole->is(msl::TypeKind::matrix)) return typeText(typeTable().vector(whole->scalar, whole->rows));
    return isVector(whole) ? typeText(typeTable().scalar(whole->scalar)) : QString();
}

QString combinedType(const QString& left, const QString& right) {
    if (left.isEmpty() || right.isEmpty()) return left.isEmpty() ? right : left;
    const msl::TypeRef a = builtin(left), b = builtin(right);
    if (!a || !b) return left;
    if (a->isMatrix() != b->isMatrix()) {
        const msl::TypeRef matrix = a->isMatrix() ? a : b, other = a->isMatrix() ? b : a;
        if (!isVector(other)) return typeText(matrix);
        return typeText(typeTable().vector(matrix->scalar, matrix == a ? matrix->rows : matrix->columns));
    }
    if (isVector(a) != isVector(b)) return isVector(a) ? left : right;
    return a->scalar >= b->scalar ? left : right;
}

QString resultType(QStringView function, const std::vector<QString>& arguments) {
    const msl::BuiltinFunction* row = msl::findBuiltin(function.toString().toStdString());
    if (!row) return {};
    const msl::BuiltinSignature& signature = *row->signature;
    // T is the widest of the arguments that stand for it.
    QString t;
    for (std::size_t i = 0; i < signature.parameterCount && i < arguments.size(); ++i)
        if (signature.parameters[i] == msl::BuiltinSlot::t) t = combinedType(t, arguments[i]);
    const msl::TypeRef type = t.isEmpty() ? nullptr : builtin(t);
    if (!type && signature.typeClass != msl::BuiltinClass::none) return {};
    return typeText(msl::slotType(typeTable(), signature.result, type));
}

} // namespace glasshob::libraryNames
