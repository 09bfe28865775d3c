#include "GlassHobCore/LibraryNames.h"

#include "GlassHobCore/HostText.h"
#include "MSL/ast/TextureTraits.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/lex/PredefinedMacros.h"
#include "MSL/sema/LibraryConstants.h"

#include <QStringList>

#include <algorithm>
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

// "texture2d<float, access::read>" -> its element and how many coordinates it is sampled with.
struct Texture {
    QString element;
    int dimensions = 0;
    bool isDepth = false;
};
std::optional<Texture> texture(const QString& type) {
    const qsizetype angle = type.indexOf(u'<');
    if (angle < 0 || !(type.startsWith(QLatin1String("texture")) || type.startsWith(QLatin1String("depth"))))
        return std::nullopt;
    Texture made;
    made.isDepth = type.startsWith(QLatin1String("depth"));
    made.element = type.mid(angle + 1).section(u',', 0, 0).section(u'>', 0, 0).trimmed();
    const QString shape = type.left(angle);
    made.dimensions = shape.contains(QLatin1String("1d")) || shape.contains(QLatin1String("buffer")) ? 1
                      : shape.contains(QLatin1String("3d")) || shape.contains(QLatin1String("cube")) ? 3
                                                                                                     : 2;
    return made;
}

std::vector<Symbol> textureMethods(const Texture& of) {
    auto sized = [](const char* scalar, int size) {
        return QString::fromLatin1(scalar) + (size > 1 ? QString::number(size) : QString());
    };
    const QString value = of.isDepth ? of.element : of.element + u'4';
    const QString place = sized("float", of.dimensions), texel = sized("uint", of.dimensions);
    struct Method {
        const char* name;
        QString result, parameters;
        const char* note;
    };
    const Method methods[] = {
        {"sample", value, QStringLiteral("sampler s, %1 coord").arg(place),
         "The colour at a place, filtered as the sampler says."},
        {"sample_compare", of.element, QStringLiteral("sampler s, %1 coord, float compare_value").arg(place),
         "Compares the depths round a place with a value."},
        {"gather", of.element + u'4', QStringLiteral("sampler s, %1 coord").arg(place),
         "One component of the four texels round a place."},
        {"read", value, QStringLiteral("%1 coord").arg(texel), "One texel, without a filter."},
        {"write", QStringLiteral("void"), QStringLiteral("%1 color, %2 coord").arg(value, texel), "Writes one texel."},
        {"get_width", QStringLiteral("uint"), QStringLiteral("uint lod = 0"), ""},
        {"get_height", QStringLiteral("uint"), QStringLiteral("uint lod = 0"), ""},
        {"get_depth", QStringLiteral("uint"), QStringLiteral("uint lod = 0"), ""},
        {"get_num_mip_levels", QStringLiteral("uint"), {}, ""},
    };
    std::vector<Symbol> symbols;
    for (const Method& method : methods) {
        const QString name = QString::fromLatin1(method.name);
        if (name == u"sample_compare" && !of.isDepth) continue;
        if (name == u"get_depth" && of.dimensions != 3) continue;
        if (name == u"get_height" && of.dimensions == 1) continue;
        Symbol made =
            symbol(Kind::function, name, QStringLiteral("%1 %2(%3)").arg(method.result, name, method.parameters),
                   QString::fromLatin1(method.note));
        made.type = method.result;
        if (!method.parameters.isEmpty()) made.parts.emplace_back();
        symbols.push_back(std::move(made));
    }
    return symbols;
}

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
        for (const char* name :
             {"array", "atomic", "depth2d", "depth2d_array", "depthcube", "matrix", "numeric_limits", "texture1d",
              "texture2d", "texture2d_array", "texture3d", "texture_buffer", "texturecube", "texturecube_array", "vec"})
            if (msl::isBuiltinTemplateName(name))
                made.push_back(
                    symbol(Kind::type, QString::fromLatin1(name), QString::fromLatin1(name) + QStringLiteral("<>")));
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
    static const std::vector<Symbol> all = described(
        Kind::attribute,
        {{"position", "[[position]]", "The place of a vertex in clip space; of a fragment in pixels."},
         {"stage_in", "[[stage_in]]", "What the vertex function handed on."},
         {"vertex_id", "[[vertex_id]]", "The number of the vertex."},
         {"instance_id", "[[instance_id]]", "The number of the instance."},
         {"base_vertex", "[[base_vertex]]", "What is added to each vertex number."},
         {"base_instance", "[[base_instance]]", "The number of the first instance."},
         {"buffer", "[[buffer(0)]]", "The place where a buffer is bound."},
         {"texture", "[[texture(0)]]", "The place where a texture is bound."},
         {"sampler", "[[sampler(0)]]", "The place where a sampler is bound."},
         {"color", "[[color(0)]]", "The picture that a fragment's colour goes into."},
         {"depth", "[[depth(any)]]", "The depth that a fragment writes."},
         {"point_size", "[[point_size]]", "The width of a point in pixels."},
         {"point_coord", "[[point_coord]]", "The place inside a point, 0 to 1."},
         {"front_facing", "[[front_facing]]", "Whether the front of a triangle is seen."},
         {"flat", "[[flat]]", "Handed to the fragments as it is, not blended."},
         {"center_no_perspective", "[[center_no_perspective]]", "Blended without regard to depth."},
         {"sample_id", "[[sample_id]]", "The number of the sample in its pixel."},
         {"sample_mask", "[[sample_mask]]", "Which samples are covered."},
         {"primitive_id", "[[primitive_id]]", "The number of the triangle."},
         {"invariant", "[[invariant]]", "Computed in the same way wherever it is written."},
         {"clip_distance", "[[clip_distance]]", "Cuts off what is below 0."},
         {"user", "[[user(name)]]", "A name that joins what is handed on with what is taken."},
         {"thread_position_in_grid", "[[thread_position_in_grid]]", "The number of the thread among all."},
         {"thread_position_in_threadgroup", "[[thread_position_in_threadgroup]]",
          "The number of the thread in its group."},
         {"thread_index_in_threadgroup", "[[thread_index_in_threadgroup]]", "The same as one number."},
         {"threadgroup_position_in_grid", "[[threadgroup_position_in_grid]]", "The number of the group."},
         {"threads_per_grid", "[[threads_per_grid]]", "How many threads there are."},
         {"threads_per_threadgroup", "[[threads_per_threadgroup]]", "How many threads a group has."},
         {"threadgroups_per_grid", "[[threadgroups_per_grid]]", "How many groups there are."},
         {"thread_index_in_simdgroup", "[[thread_index_in_simdgroup]]", "The lane of the thread."},
         {"simdgroup_index_in_threadgroup", "[[simdgroup_index_in_threadgroup]]", "The number of the lanes' group."},
         {"threads_per_simdgroup", "[[threads_per_simdgroup]]", "How many lanes run together."},
         {"function_constant", "[[function_constant(0)]]", "A constant that is set when the program is made."},
         {"early_fragment_tests", "[[early_fragment_tests]]", "Depth is tested before the fragment runs."},
         {"maybe_unused", "[[maybe_unused]]", "No warning where it is not used."}});
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
         {"length", "// @length 60", "How many seconds the episode shows the shader."},
         {"variation", "// @variation 30", "How many seconds each variation is shown."},
         {"variations", "// @variations 3 7 12", "The numbers of the variations that the episode shows."},
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
    if (const auto of = texture(type)) return textureMethods(*of);
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
    if (const auto of = texture(type)) {
        for (const Symbol& method : textureMethods(*of))
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
