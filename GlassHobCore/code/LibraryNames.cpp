#include "GlassHobCore/code/LibraryNames.h"

#include "GlassHobCore/code/FunctionNotes.h"
#include "GlassHobCore/code/LibraryNotes.h"
#include "GlassHobCore/shader/HostText.h"
#include "GlassHobCore/text/Text.h"
#include "MSL/Language.h"

#include <QStringList>

#include <algorithm>

namespace glasshob::libraryNames {

namespace {

using Kind = Symbol::Kind;

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

const char* const components = "xyzw";
const char* const colours = "rgba";

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
        for (const msl::language::Function& function : msl::language::functions()) {
            Symbol& next =
                made.emplace_back(symbol(Kind::function, asQString(function.name), asQString(function.signature)));
            next.note = asQString(onFunction(function.name));
            if (!function.typeParameter.empty())
                next.note += QStringLiteral(" T is %1.").arg(asQString(function.typeParameter));
            next.parts.resize(function.parameterCount);
        }
        return made;
    }();
    return all;
}

QString typeParameterOf(QStringView function) {
    for (const msl::language::Function& one : msl::language::functions())
        if (asQString(one.name) == function) return asQString(one.typeParameter);
    return {};
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
            if (msl::language::isTypeName(name.toStdString())) made.push_back(symbol(Kind::type, name, name));
        QStringList templates{QStringLiteral("array"), QStringLiteral("atomic"), QStringLiteral("matrix"),
                              QStringLiteral("numeric_limits"), QStringLiteral("vec")};
        for (const std::string_view name : msl::language::textureNames())
            templates << asQString(name);
        for (const QString& name : templates)
            if (msl::language::isTypeTemplateName(name.toStdString()))
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
        for (const msl::language::Constant& constant : msl::language::constants())
            if (constant.enumeration.empty())
                made.push_back(symbol(Kind::constant, asQString(constant.name), asQString(constant.name)));
        for (const char* name :
             {"M_PI_F",   "M_PI_2_F",  "M_PI_4_F",    "M_1_PI_F",  "M_2_PI_F",    "M_2_SQRTPI_F", "M_E_F",    "M_LN2_F",
              "M_LN10_F", "M_LOG2E_F", "M_LOG10E_F",  "M_SQRT2_F", "M_SQRT1_2_F", "M_PI_H",       "INFINITY", "NAN",
              "FLT_MAX",  "FLT_MIN",   "FLT_EPSILON", "HALF_MAX",  "HALF_MIN",    "HALF_EPSILON", "INT_MAX",  "INT_MIN",
              "UINT_MAX", "SHRT_MAX",  "SHRT_MIN",    "USHRT_MAX", "CHAR_BIT",    "METAL_FUNC"}) {
            const auto value = msl::language::predefinedMacro(name);
            if (!value) continue;
            made.push_back(symbol(Kind::macro, QString::fromLatin1(name),
                                  QStringLiteral("#define %1 %2").arg(QLatin1String(name), asQString(*value))));
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
            std::size_t at = 0; // functions() has the same order
            for (const msl::language::Function& function : msl::language::functions()) {
                const Symbol& known = functions()[at++];
                if (isWhole || function.hasPrecisions) space.parts.push_back(known);
            }
            if (isWhole) std::ranges::copy(types(), std::back_inserter(space.parts));
            made.push_back(std::move(space));
        }
        for (const msl::language::Constant& constant : msl::language::constants()) {
            if (constant.enumeration.empty()) continue;
            const QString name = asQString(constant.enumeration);
            if (made.back().name != name) made.push_back(symbol(Kind::space, name, QStringLiteral("enum ") + name));
            Symbol part = symbol(Kind::enumerator, asQString(constant.name),
                                 name + QStringLiteral("::") + asQString(constant.name));
            part.type = name;
            made.back().parts.push_back(std::move(part));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& attributes() {
    static const std::vector<Symbol> all = [] {
        std::vector<Symbol> made;
        for (const msl::language::Attribute& known : msl::language::attributes()) {
            const libraryNotes::AttributeNote* note = libraryNotes::onAttribute(known.name);
            std::string_view arguments = note ? note->arguments : std::string_view();
            if (arguments.empty() && known.takesNumber) arguments = "0";
            const QString form =
                arguments.empty() ? asQString(known.name) : asQString(known.name) + u'(' + asQString(arguments) + u')';
            made.push_back(symbol(Kind::attribute, asQString(known.name), QStringLiteral("[[%1]]").arg(form),
                                  note ? asQString(note->text) : QString()));
        }
        return made;
    }();
    return all;
}

const std::vector<Symbol>& directives() {
    static const std::vector<Symbol> all = described(
        Kind::directive,
        {{"param", "// @param speed 0.6 0.0 3.0 How fast it moves",
          "A slider: its name, default, minimum and maximum, and a description."},
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
            const SymbolIndex index(asQString(source));
            for (const Symbol& declared : index.declarations()) {
                if (declared.kind != Kind::structure || declared.name == u"Params") continue;
                made.push_back(declared);
                made.back().line = -1;
                // What fills the block up is for nobody to read.
                std::erase_if(made.back().parts, [](const Symbol& part) { return part.name == u"pad"; });
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
            QStringList lines = asQString(help).split(u'\n');
            for (QString& line : lines) {
                line.remove(QLatin1String("and optionally "));
                if (!line.startsWith(QLatin1String("struct"))) line += u';';
            }
            return functionsOf(lines.join(u'\n'));
        };
        std::array<std::vector<Symbol>, 3> made;
        auto& [fragment, particles, grid] = made;
        for (const Symbol& function : functionsOf(asQString(ShaderTemplate::make("x"))))
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
    return msl::language::isTypeName(name.toString().toStdString());
}

std::vector<Symbol> membersOf(const QString& type) {
    std::vector<Symbol> made;
    if (const auto methods = msl::language::textureMethods(type.toStdString())) {
        for (const msl::language::Method& method : *methods) {
            made.push_back(symbol(Kind::function, asQString(method.name), asQString(method.signature),
                                  asQString(libraryNotes::onTextureMethod(method.name))));
            made.back().type = asQString(method.result);
            made.back().parts.resize(method.parameterCount);
        }
        return made;
    }
    const unsigned count = msl::language::componentCount(type.toStdString());
    if (count == 0) return made;
    auto add = [&](const QString& name) {
        const QString result = memberType(type, name);
        if (result.isEmpty()) return; // more components than it has
        made.push_back(symbol(Kind::member, name, result + u' ' + name));
        made.back().type = result;
    };
    for (const char* letters : {components, colours})
        for (unsigned i = 0; i < count; ++i)
            add(QString(QLatin1Char(letters[i])));
    for (const char* swizzle : {"xy", "xyz", "xz", "yz", "zw", "yx", "rgb", "rg"})
        add(QString::fromLatin1(swizzle));
    return made;
}

QString memberType(const QString& type, QStringView member) {
    return asQString(msl::language::memberType(type.toStdString(), member.toString().toStdString()));
}

QString elementType(const QString& type) {
    if (type.endsWith(u']')) {
        // The first brackets are the outer ones.
        const qsizetype open = type.indexOf(u'['), close = type.indexOf(u']', open);
        return type.left(open) + type.mid(close + 1);
    }
    if (type.endsWith(u'*')) return bareType(type);
    if (type.startsWith(QLatin1String("array<"))) return type.mid(6).section(u',', 0, 0).trimmed();
    return asQString(msl::language::elementType(type.toStdString()));
}

QString combinedType(const QString& left, const QString& right) {
    return asQString(msl::language::resultOfOperator(left.toStdString(), right.toStdString()));
}

QString resultType(QStringView function, const std::vector<QString>& arguments) {
    std::vector<std::string> types;
    for (const QString& argument : arguments)
        types.push_back(argument.toStdString());
    return asQString(msl::language::resultOfCall(function.toString().toStdString(), types));
}

} // namespace glasshob::libraryNames
