// Writes random programs that are valid shader text and valid C++ alike. The build compiles them once with the host's
// compiler; the test compiles them with ours, runs both and compares every number. See README.md.
//
//   differential_generator SEED COUNT > programs.inc
//
// The last line defines PROGRAMS(X) as X(0) X(1) ... A program is a few helper functions and one function
//     void program_N(THREAD uint* in, THREAD uint* out)
// between the lines PROGRAM_BEGIN(N) and PROGRAM_END. What differs between the languages hides behind the macros of
// Prelude.h. Programs end (loops are bounded), index inside their arrays, and have no order of evaluation to disagree
// about: an expression never writes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

enum class Kind : std::uint8_t { i32, u32, f32, i16, u8, i64, boolean, int4, uint2, float3, record };

// Numbers stay whole and small in floating point, so that no rounding can tell the two apart.
const char* nameOf(Kind kind) {
    switch (kind) {
    case Kind::i32: return "int";
    case Kind::u32: return "uint";
    case Kind::f32: return "float";
    case Kind::i16: return "short";
    case Kind::u8: return "uchar";
    case Kind::i64: return "long";
    case Kind::boolean: return "bool";
    case Kind::int4: return "int4";
    case Kind::uint2: return "uint2";
    case Kind::float3: return "float3";
    case Kind::record: return "Record";
    }
    return "";
}

struct Variable {
    std::string name;
    Kind kind;
    unsigned arraySize = 0; // a power of two
    bool isConst = false;
    bool isPointer = false; // to `arraySize` elements
};

struct Function {
    std::string name;
    Kind result;
    std::vector<Variable> parameters;
    std::vector<bool> isReference;
    bool isMember = false;
    bool isTemplate = false;
};

class Generator {
  public:
    explicit Generator(std::uint32_t seed) : random_(seed) {}

    std::string program(unsigned number) {
        out_.clear();
        functions_.clear();
        prefix_ = "p" + std::to_string(number) + "_";
        record();
        globals();
        const unsigned helpers = below(5);
        for (unsigned i = 0; i < helpers; ++i)
            helper(i);
        scope_.clear();
        pointers_.clear();
        lambdas_.clear();
        line("void program_" + std::to_string(number) + "(THREAD uint* in, THREAD uint* out) {");
        constexpr Kind scalars[] = {Kind::i32, Kind::u32, Kind::f32, Kind::i16, Kind::u8, Kind::i64, Kind::boolean};
        for (const Kind kind : scalars)
            argument(kind, fromWord("in[" + std::to_string(below(4)) + "]", kind));
        argument(Kind::int4, "INT4(int(in[1]), int(in[0]), 3, int(in[2] >> 9))");
        argument(Kind::uint2, "UINT2(in[2], in[3])");
        argument(Kind::float3, "FLOAT3(float(in[0] & 255u), 2.0f, float(in[3] & 63u))");
        argument(Kind::record, prefix_ + "Record{ int(in[3]), 5.0f, INT4(1, int(in[0]), int(in[1]), 2), "
                                         "{ short(in[2]), short(7) }, (in[1] & 2u) != 0u }");
        block(1, 5 + below(6), false, false);
        for (unsigned i = 0; i < 8; ++i)
            line("    out[" + std::to_string(i) + "] = " + toWord(pick(scope_)) + ";");
        line("}");
        return out_;
    }

  private:
    static constexpr unsigned maxStatements = 90; // of one program

    std::uint32_t below(std::uint32_t n) { return n == 0 ? 0 : random_() % n; }
    bool chance(unsigned percent) { return below(100) < percent; }
    void line(const std::string& text) { out_ += text + "\n"; }
    std::string indent(unsigned depth) { return std::string(depth * 4, ' '); }
    std::string fresh(const char* stem) { return stem + std::to_string(nextName_++); }
    template <class T>
    T& pick(std::vector<T>& from) {
        return from[below(static_cast<std::uint32_t>(from.size()))];
    }

    void argument(Kind kind, const std::string& value) {
        const std::string name = "a" + std::to_string(scope_.size());
        line("    " + type(kind) + " " + name + " = " + value + ";");
        scope_.push_back({name, kind});
    }

    Kind scalarKind() {
        constexpr Kind kinds[] = {Kind::i32, Kind::i32, Kind::u32, Kind::u32,    Kind::f32,
                                  Kind::i16, Kind::u8,  Kind::i64, Kind::boolean};
        return kinds[below(9)];
    }
    Kind anyKind() {
        constexpr Kind kinds[] = {Kind::int4, Kind::uint2, Kind::float3, Kind::record};
        return chance(65) ? scalarKind() : kinds[below(4)];
    }

    static std::string fromWord(const std::string& word, Kind kind) {
        switch (kind) {
        case Kind::f32: return "float(int(" + word + " & 1023u) - 512)";
        case Kind::boolean: return "((" + word + " & 1u) != 0u)";
        case Kind::i64: return "long(" + word + ") * long(65537)";
        default: return std::string(nameOf(kind)) + "(" + word + ")";
        }
    }
    std::string toWord(const Variable& variable) {
        std::string access = variable.name;
        if (variable.arraySize > 0) access += "[" + std::to_string(below(variable.arraySize)) + "]";
        return wordOf(access, variable.kind);
    }
    std::string wordOf(const std::string& access, Kind kind) {
        switch (kind) {
        case Kind::f32: return "uint(int(" + access + "))";
        case Kind::boolean: return "uint(" + access + " ? 7 : 3)";
        case Kind::i64: return "uint(" + access + " ^ (" + access + " >> 32))";
        case Kind::int4: return "uint(" + access + "." + "xyzw"[below(4)] + ")";
        case Kind::uint2: return access + "." + "xy"[below(2)];
        case Kind::float3: return "uint(int(" + access + "." + "xyz"[below(3)] + "))";
        case Kind::record: {
            const unsigned which = below(4);
            return which == 0   ? "uint(" + access + ".a)"
                   : which == 1 ? "uint(int(" + access + ".f))"
                   : which == 2 ? "uint(" + access + ".v." + "xyzw"[below(4)] + ")"
                                : "uint(" + access + ".list[" + std::to_string(below(4)) + "])";
        }
        default: return "uint(" + access + ")";
        }
    }

    void record() {
        line("struct " + prefix_ + "Record {");
        line("    int a;\n    float f;\n    int4 v;\n    short list[4];\n    bool flag;");
        line("    struct Inner { uchar b; int grid[2][4]; uint2 pair; } inner;");
        line("    int sum() const CONST_THREAD { return a + list[0] * 3 + list[3] + v.y; }");
        line("    void bump(int by) { a += by; list[by & 3] = short(list[by & 3] + by); v.z = a; flag = !flag; }");
        line("    int get(uint i) const CONST_THREAD { return list[i & 3u]; }");
        line("};");
    }
    std::string type(Kind kind) { return kind == Kind::record ? prefix_ + "Record" : nameOf(kind); }

    void globals() {
        globals_.clear();
        const unsigned count = below(3);
        for (unsigned i = 0; i < count; ++i) {
            constexpr Kind kinds[] = {Kind::i32, Kind::u32, Kind::f32, Kind::i16};
            const Kind kind = kinds[below(4)];
            const unsigned size = 1U << (1 + below(3));
            const std::string name = prefix_ + "table" + std::to_string(i);
            std::string text = "CONSTANT " + type(kind) + " " + name + "[" + std::to_string(size) + "] = { ";
            for (unsigned j = 0; j < size; ++j)
                text += (j > 0 ? ", " : "") + literal(kind);
            line(text + " };");
            globals_.push_back({name, kind, size, true});
        }
    }

    std::string literal(Kind kind) {
        switch (kind) {
        case Kind::i32: {
            constexpr const char* special[] = {"0", "1", "-1", "2147483647", "(-2147483647 - 1)", "255", "65536"};
            return chance(30) ? special[below(7)] : std::to_string(static_cast<int>(below(2000)) - 1000);
        }
        case Kind::u32: {
            constexpr const char* special[] = {"0u", "1u", "4294967295u", "2147483648u", "31u", "32u", "0x9e3779b9u"};
            return chance(30) ? special[below(7)] : std::to_string(below(100000)) + "u";
        }
        case Kind::f32: return std::to_string(static_cast<int>(below(512)) - 256) + ".0f";
        case Kind::i16: return "short(" + std::to_string(static_cast<int>(below(60000)) - 30000) + ")";
        case Kind::u8: return "uchar(" + std::to_string(below(256)) + ")";
        case Kind::i64:
            return "(long(" + std::to_string(static_cast<int>(below(100000))) + ") << " + std::to_string(below(40)) +
                   ")";
        case Kind::boolean: return chance(50) ? "true" : "false";
        default: return "0";
        }
    }

    // An element of an array or of what a pointer points to, in one of the ways to write it.
    std::string element(const Variable& variable, unsigned depth) {
        const std::string at = index(variable.arraySize, depth);
        if (variable.isPointer && chance(40)) return "(*(" + variable.name + " + (" + at + ")))";
        return variable.name + "[" + at + "]";
    }

    // A readable access of this kind, or nothing.
    std::string read(Kind kind) {
        std::vector<std::string> found;
        const auto look = [&](const std::vector<Variable>& from) {
            for (const Variable& variable : from) {
                std::string access = variable.name;
                if (variable.arraySize > 0) access = element(variable, 1);
                if (variable.kind == kind) found.push_back(access);
                if (variable.kind == Kind::record) {
                    if (kind == Kind::i32) found.push_back(access + (chance(50) ? ".a" : ".sum()"));
                    if (kind == Kind::i32 && chance(30)) found.push_back(access + ".get(" + small(Kind::u32) + ")");
                    if (kind == Kind::f32) found.push_back(access + ".f");
                    if (kind == Kind::int4) found.push_back(access + ".v");
                    if (kind == Kind::i16) found.push_back(access + ".list[" + index(4, 1) + "]");
                    if (kind == Kind::boolean) found.push_back(access + ".flag");
                    if (kind == Kind::u8) found.push_back(access + ".inner.b");
                    if (kind == Kind::uint2) found.push_back(access + ".inner.pair");
                    if (kind == Kind::i32)
                        found.push_back(access + ".inner.grid[" + index(2, 1) + "][" + index(4, 1) + "]");
                }
                if (variable.kind == Kind::int4 && kind == Kind::i32) found.push_back(access + "." + "xyzw"[below(4)]);
                if (variable.kind == Kind::int4 && kind == Kind::int4) found.push_back(access + swizzle(4, "xyzw", 4));
                if (variable.kind == Kind::uint2 && kind == Kind::u32) found.push_back(access + "." + "xy"[below(2)]);
                if (variable.kind == Kind::uint2 && kind == Kind::uint2) found.push_back(access + ".yx");
                if (variable.kind == Kind::float3 && kind == Kind::f32) found.push_back(access + "." + "xyz"[below(3)]);
                if (variable.kind == Kind::float3 && kind == Kind::float3)
                    found.push_back(access + swizzle(3, "xyz", 3));
            }
        };
        look(scope_);
        look(globals_);
        return found.empty() ? std::string() : pick(found);
    }
    std::string swizzle(unsigned count, const char* letters, unsigned of) {
        std::string text = ".";
        for (unsigned i = 0; i < count; ++i)
            text += letters[below(of)];
        return text;
    }

    std::string small(Kind kind) {
        const std::string found = read(kind);
        return found.empty() || chance(30) ? literal(kind) : found;
    }

    std::string index(unsigned size, unsigned depth) {
        const std::string mask = std::to_string(size - 1);
        if (depth > 1 || chance(40)) return std::to_string(below(size));
        for (const Variable& variable : scope_)
            if ((variable.kind == Kind::i32 || variable.kind == Kind::u32) && variable.arraySize == 0 && chance(40))
                return variable.name + " & " + mask + (variable.kind == Kind::u32 ? "u" : "");
        return std::to_string(below(size));
    }

    std::string expression(Kind kind, unsigned depth = 0) {
        if (depth > 3 || chance(25)) {
            const std::string found = read(kind);
            if (!found.empty() && chance(80)) return found;
            return leaf(kind);
        }
        const auto again = [&](Kind of) { return expression(of, depth + 1); };
        if (chance(12) && kind != Kind::record)
            return "(" + again(Kind::boolean) + " ? " + cast(kind, again(kind)) + " : " + cast(kind, again(kind)) + ")";
        if (kind == Kind::i32 && !lambdas_.empty() && chance(15)) return pick(lambdas_) + "(" + again(Kind::i32) + ")";
        if (chance(12))
            for (const Function& function : functions_)
                if (function.result == kind && isPure(function) && chance(50)) return call(function, depth);
        switch (kind) {
        case Kind::i32: return integer(kind, depth);
        case Kind::u32: return integer(kind, depth);
        case Kind::i64:
            switch (below(6)) {
            case 0: return "(" + again(kind) + " + " + again(kind) + ")";
            case 1: return "(" + again(kind) + " * " + again(kind) + ")";
            case 2: return "(" + again(kind) + " ^ " + again(kind) + ")";
            case 3: return "long(" + again(Kind::i32) + ")";
            case 4: return "(" + again(kind) + " >> " + std::to_string(below(60)) + ")";
            default: return "(" + again(kind) + " - long(" + again(Kind::u32) + "))";
            }
        case Kind::i16:
            return "short(" + again(chance(50) ? Kind::i16 : Kind::i32) + " " + "+-*^"[below(4)] + " " +
                   again(Kind::i16) + ")";
        case Kind::u8:
            return "uchar(" + again(Kind::u8) + " " + "+-*|&"[below(5)] + " " +
                   again(chance(50) ? Kind::u8 : Kind::i32) + ")";
        case Kind::f32:
            // KEEP folds the result back into the whole numbers -512 .. 511.
            switch (below(5)) {
            case 0: return "KEEP(" + again(kind) + " + " + again(kind) + ")";
            case 1: return "KEEP(" + again(kind) + " * " + again(kind) + ")";
            case 2: return "KEEP(" + again(kind) + " - " + again(kind) + ")";
            case 3: return "float(" + again(Kind::i32) + " & 1023)";
            default: return "(- " + again(kind) + ")";
            }
        case Kind::boolean: {
            constexpr const char* compares[] = {"<", ">", "<=", ">=", "==", "!="};
            const Kind of = chance(50) ? Kind::i32 : chance(50) ? Kind::u32 : chance(50) ? Kind::f32 : Kind::i16;
            switch (below(5)) {
            case 0: return "(" + again(kind) + " && " + again(kind) + ")";
            case 1: return "(" + again(kind) + " || " + again(kind) + ")";
            case 2: return "(!" + again(kind) + ")";
            default: return "(" + again(of) + " " + compares[below(6)] + " " + again(of) + ")";
            }
        }
        case Kind::int4:
            switch (below(5)) {
            case 0: return "(" + again(kind) + " + " + again(kind) + ")";
            case 1: return "(" + again(kind) + " * " + again(kind) + ")";
            case 2: return "(" + again(kind) + " ^ " + again(kind) + ")";
            case 3:
                return "INT4(" + again(Kind::i32) + ", " + again(Kind::i32) + ", " + again(Kind::i32) + ", " +
                       again(Kind::i32) + ")";
            default: return "(" + again(kind) + " - " + again(kind) + ")";
            }
        case Kind::uint2:
            switch (below(4)) {
            case 0: return "(" + again(kind) + " + " + again(kind) + ")";
            case 1: return "(" + again(kind) + " * " + again(kind) + ")";
            case 2: return "(~" + again(kind) + ")";
            default: return "UINT2(" + again(Kind::u32) + ", " + again(Kind::u32) + ")";
            }
        case Kind::float3:
            return chance(50) ? "FLOAT3(" + again(Kind::f32) + ", " + again(Kind::f32) + ", " + again(Kind::f32) + ")"
                              : "KEEP3(" + again(kind) + (chance(50) ? " + " : " * ") + again(kind) + ")";
        case Kind::record: break;
        }
        return leaf(kind);
    }
    static std::string cast(Kind kind, const std::string& text) {
        // Both arms of a choice of one type exactly.
        return kind == Kind::i16 || kind == Kind::u8 || kind == Kind::i64 ? std::string(nameOf(kind)) + "(" + text + ")"
                                                                          : text;
    }
    std::string integer(Kind kind, unsigned depth) {
        const auto again = [&](Kind of) { return expression(of, depth + 1); };
        const std::string left = again(kind);
        const Kind other = kind == Kind::i32 && chance(25) ? Kind::i16 : kind;
        const std::string right = again(other);
        switch (below(14)) {
        case 0:
        case 1: return "(" + left + " + " + right + ")";
        case 2:
        case 3: return "(" + left + " - " + right + ")";
        case 4: return "(" + left + " * " + right + ")";
        case 5: return (kind == Kind::i32 ? "IDIV(" : "UDIV(") + left + ", " + right + ")";
        case 6: return (kind == Kind::i32 ? "IREM(" : "UREM(") + left + ", " + right + ")";
        case 7: return "(" + left + " & " + right + ")";
        case 8: return "(" + left + " | " + right + ")";
        case 9: return "(" + left + " ^ " + right + ")";
        case 10: return "SHL(" + left + ", " + right + ")";
        case 11: return "SHR(" + left + ", " + right + ")";
        case 12: return "(~" + left + ")";
        default:
            if (chance(40))
                return kind == Kind::i32 ? "int(" + again(Kind::f32) + ")" : "uint(" + again(Kind::i32) + ")";
            if (chance(40)) return std::string(nameOf(kind)) + "(" + again(Kind::i64) + ")";
            if (chance(30)) return std::string(nameOf(kind)) + "(" + again(Kind::boolean) + ")";
            return std::string(nameOf(kind)) + "(" + again(chance(50) ? Kind::u8 : Kind::i16) + ")";
        }
    }
    std::string leaf(Kind kind) {
        switch (kind) {
        case Kind::int4:
            return "INT4(" + small(Kind::i32) + ", " + literal(Kind::i32) + ", " + small(Kind::i32) + ", " +
                   literal(Kind::i32) + ")";
        case Kind::uint2: return "UINT2(" + small(Kind::u32) + ", " + literal(Kind::u32) + ")";
        case Kind::float3:
            return "FLOAT3(" + small(Kind::f32) + ", " + literal(Kind::f32) + ", " + small(Kind::f32) + ")";
        case Kind::record: {
            const std::string found = read(kind);
            if (!found.empty() && chance(70)) return found;
            return prefix_ + "Record{ " + small(Kind::i32) + ", " + small(Kind::f32) + ", " + leaf(Kind::int4) +
                   ", { " + literal(Kind::i16) + ", " + literal(Kind::i16) + " }, " + small(Kind::boolean) + " }";
        }
        default: return literal(kind);
        }
    }

    static bool isPure(const Function& function) {
        for (const bool reference : function.isReference)
            if (reference) return false;
        return true;
    }
    std::string call(const Function& function, unsigned depth) {
        std::string text = function.name + "(";
        for (std::size_t i = 0; i < function.parameters.size(); ++i)
            text += (i > 0 ? ", " : "") +
                    cast(function.parameters[i].kind, expression(function.parameters[i].kind, depth + 1));
        return text + ")";
    }

    void helper(unsigned number) {
        Function function;
        function.name = prefix_ + "f" + std::to_string(number);
        function.result = anyKind();
        scope_.clear();
        pointers_.clear();
        lambdas_.clear();
        std::string parameters;
        const unsigned count = below(4);
        function.isTemplate = count > 0 && chance(20);
        for (unsigned i = 0; i < count; ++i) {
            Variable variable{"x" + std::to_string(i), anyKind()};
            const bool reference = !(function.isTemplate && i == 0) && chance(30);
            const bool pointer = reference && chance(40);
            std::string text = function.isTemplate && i == 0 ? "T" : type(variable.kind);
            if (pointer) {
                text = "THREAD " + text + "*";
                variable.arraySize = 4;
                variable.isPointer = true;
            } else if (reference) {
                text = "THREAD " + text + "&";
            } else if (!(function.isTemplate && i == 0) && chance(20)) {
                text = "const THREAD " + text + "&"; // a temporary binds to it as well
                variable.isConst = true;
            }
            parameters += (i > 0 ? ", " : "") + text + " " + variable.name;
            function.parameters.push_back(variable);
            function.isReference.push_back(reference);
            scope_.push_back(variable);
        }
        line(std::string(function.isTemplate ? "template <typename T>\n" : "") + "static " + type(function.result) +
             " " + function.name + "(" + parameters + ") {");
        result_ = function.result;
        block(1, 1 + below(4), false, true);
        line("    return " + cast(function.result, expression(function.result)) + ";");
        line("}");
        functions_.push_back(function);
    }

    // What may be written: an access and its kind.
    std::pair<std::string, Kind> target() {
        std::vector<std::pair<std::string, Kind>> found;
        for (const Variable& variable : scope_) {
            if (variable.isConst) continue;
            std::string access = variable.name;
            if (variable.arraySize > 0) access = element(variable, 0);
            found.emplace_back(access, variable.kind);
            if (variable.kind == Kind::int4) found.emplace_back(access + "." + "xyzw"[below(4)], Kind::i32);
            if (variable.kind == Kind::float3) found.emplace_back(access + "." + "xyz"[below(3)], Kind::f32);
            if (variable.kind == Kind::uint2) found.emplace_back(access + "." + "xy"[below(2)], Kind::u32);
            if (variable.kind == Kind::record) {
                found.emplace_back(access + ".a", Kind::i32);
                found.emplace_back(access + ".v", Kind::int4);
                found.emplace_back(access + ".v.w", Kind::i32);
                found.emplace_back(access + ".list[" + index(4, 0) + "]", Kind::i16);
                found.emplace_back(access + ".flag", Kind::boolean);
                found.emplace_back(access + ".inner.b", Kind::u8);
                found.emplace_back(access + ".inner.pair", Kind::uint2);
                found.emplace_back(access + ".inner.pair.y", Kind::u32);
                found.emplace_back(access + ".inner.grid[" + index(2, 0) + "][" + index(4, 0) + "]", Kind::i32);
                found.emplace_back(access + ".f", Kind::f32);
            }
        }
        return found.empty() ? std::pair<std::string, Kind>() : pick(found);
    }

    // A second name for something that may be written.
    void declareReference(unsigned depth) {
        for (unsigned tries = 0; tries < 4; ++tries) {
            const auto [access, kind] = target();
            // No reference binds to a part of a vector, and none to what a changing index would have to be kept for.
            const std::size_t dot = access.rfind('.');
            const bool isPart = dot != std::string::npos && access.size() - dot == 2 &&
                                std::string("xyzw").find(access[dot + 1]) != std::string::npos;
            if (access.empty() || isPart) continue;
            const std::string name = fresh("r");
            line(indent(depth) + "THREAD " + type(kind) + "& " + name + " = " + access + ";");
            scope_.push_back({name, kind});
            return;
        }
    }

    // A pointer that may point to any of several variables of its kind: which of them, the run time says.
    void declarePointer(unsigned depth) {
        std::vector<std::string> places;
        constexpr Kind kinds[] = {Kind::i32, Kind::u32, Kind::f32, Kind::int4, Kind::record};
        const Kind kind = kinds[below(5)];
        for (const Variable& variable : scope_) {
            if (variable.kind != kind || variable.isConst) continue;
            if (variable.isPointer || variable.arraySize == 0)
                places.push_back((variable.isPointer ? "" : "&") + variable.name);
            else
                places.push_back("&" + variable.name + "[" + index(variable.arraySize, 0) + "]");
        }
        if (places.empty()) return;
        const std::string name = fresh("p");
        const std::string thing = "THREAD " + type(kind) + "*";
        const std::string pad = indent(depth);
        if (chance(30)) { // out of an array of them
            line(pad + thing + " " + name + "[2] = { " + pick(places) + ", " + pick(places) + " };");
            if (chance(50)) line(pad + name + "[" + index(2, 0) + "] = " + pick(places) + ";");
            scope_.push_back({"(*" + name + "[" + index(2, 0) + "])", kind});
            return;
        }
        const std::string condition = expression(Kind::boolean, 2);
        if (chance(50)) {
            line(pad + thing + " " + name + " = " + condition + " ? " + pick(places) + " : " + pick(places) + ";");
        } else {
            line(pad + thing + " " + name + " = " + pick(places) + ";");
            line(pad + "if (" + condition + ") " + name + " = " + pick(places) + ";");
        }
        pointers_.push_back({name, kind, places});
        scope_.push_back({"(*" + name + ")", kind});
    }

    // Sets a pointer anew.
    void point(unsigned depth) {
        if (pointers_.empty()) return assign(depth);
        Pointer& pointer = pick(pointers_);
        line(indent(depth) + pointer.name + " = " + pick(pointer.places) + ";");
    }

    // A whole number's bits, seen through a pointer to something else.
    void look(unsigned depth) {
        for (const Variable& variable : scope_) {
            const bool isWord = variable.kind == Kind::i32 || variable.kind == Kind::u32;
            if (!isWord || variable.isConst || variable.arraySize < 2 || chance(40)) continue;
            constexpr const char* views[] = {"uchar", "short", "uint"};
            constexpr unsigned perWord[] = {4, 2, 1};
            const unsigned which = below(3);
            const std::string name = fresh("w");
            line(indent(depth) + "THREAD " + views[which] + "* " + name + " = (THREAD " + views[which] + "*)" +
                 variable.name + ";");
            const unsigned size = variable.arraySize * perWord[which];
            constexpr Kind kinds[] = {Kind::u8, Kind::i16, Kind::u32};
            scope_.push_back({name, kinds[which], size, false, true});
            return;
        }
        declare(depth);
    }

    // A function of one int that sees what is in scope.
    void declareLambda(unsigned depth) {
        const std::string name = fresh("l");
        const std::string parameter = fresh("x");
        const char* capture = chance(50) ? "[=]" : "[&]";
        scope_.push_back({parameter, Kind::i32, 0, true});
        const std::string result = expression(Kind::i32);
        scope_.pop_back();
        line(indent(depth) + "auto " + name + " = " + capture + "(int " + parameter + ") { return int(" + result +
             "); };");
        lambdas_.push_back(name);
    }

    void declare(unsigned depth) {
        if (chance(8)) return declareLambda(depth);
        if (chance(12)) return declareReference(depth);
        if (chance(10)) return declarePointer(depth);
        if (chance(4)) return look(depth);
        const Kind kind = anyKind();
        Variable variable{fresh("v"), kind};
        if (chance(20) && kind != Kind::record) {
            variable.arraySize = 1U << (1 + below(3));
            std::string text =
                indent(depth) + type(kind) + " " + variable.name + "[" + std::to_string(variable.arraySize) + "] = { ";
            const unsigned given = 1 + below(variable.arraySize);
            for (unsigned i = 0; i < given; ++i)
                text += (i > 0 ? ", " : "") + cast(kind, expression(kind, 2));
            line(text + " };");
        } else if (chance(10)) {
            line(indent(depth) + type(kind) + " " + variable.name + " = {};");
        } else {
            variable.isConst = chance(15);
            line(indent(depth) + (variable.isConst ? "const " : "") + (chance(10) ? std::string("auto") : type(kind)) +
                 " " + variable.name + " = " + wrapAuto(kind, expression(kind)) + ";");
        }
        scope_.push_back(variable);
    }
    // The type that is meant, whatever the expression promotes to.
    std::string wrapAuto(Kind kind, const std::string& text) {
        if (kind == Kind::record || kind == Kind::int4 || kind == Kind::uint2 || kind == Kind::float3) return text;
        return std::string(nameOf(kind)) + "(" + text + ")";
    }

    void assign(unsigned depth) {
        const auto [access, kind] = target();
        if (access.empty()) return;
        const std::string pad = indent(depth);
        const bool isWhole = kind == Kind::i32 || kind == Kind::u32;
        if (isWhole && chance(15)) {
            constexpr const char* forms[] = {"++", "--"};
            line(pad + (chance(50) ? access + forms[below(2)] : forms[below(2)] + access) + ";");
        } else if ((isWhole || kind == Kind::int4) && chance(40)) {
            constexpr const char* forms[] = {" += ", " -= ", " *= ", " ^= ", " |= ", " &= "};
            line(pad + access + forms[below(6)] + expression(kind) + ";");
        } else if (kind == Kind::int4 && chance(40)) {
            constexpr const char* forms[] = {".xy", ".wz", ".zx", ".yw"};
            line(pad + access + forms[below(4)] + " = (" + expression(kind) + ").zy;");
        } else {
            line(pad + access + " = " + cast(kind, expression(kind)) + ";");
        }
    }

    void callStatement(unsigned depth) {
        if (functions_.empty()) return assign(depth);
        const Function& function = pick(functions_);
        const auto [access, kind] = target();
        std::string text = indent(depth);
        std::string arguments;
        std::vector<std::string> used;
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            const Variable& parameter = function.parameters[i];
            if (i > 0) arguments += ", ";
            if (!function.isReference[i]) {
                arguments += cast(parameter.kind, expression(parameter.kind, 2));
                continue;
            }
            std::string found;
            for (const Variable& variable : scope_) {
                if (variable.kind != parameter.kind || variable.isConst) continue;
                if (parameter.isPointer && variable.arraySize >= 4) found = variable.name;
                if (!parameter.isPointer && !(variable.arraySize > 0 && variable.isPointer && chance(50)))
                    found = variable.arraySize > 0 ? variable.name + "[" + index(variable.arraySize, 0) + "]"
                                                   : variable.name;
                if (!found.empty()) {
                    used.push_back(variable.name);
                    break;
                }
            }
            if (found.empty()) return assign(depth);
            arguments += found;
        }
        bool isAliased = false;
        for (const std::string& name : used)
            isAliased = isAliased || access.starts_with(name);
        if (kind == function.result && !access.empty() && !isAliased && chance(70)) text += access + " = ";
        line(text + function.name + "(" + arguments + ");");
    }

    void block(unsigned depth, unsigned count, bool isInLoop, bool mayReturn) {
        const std::size_t outer = scope_.size();
        const std::size_t outerLambdas = lambdas_.size();
        const std::size_t outerPointers = pointers_.size();
        for (unsigned i = 0; i < count && statements_++ < maxStatements; ++i)
            statement(depth, isInLoop, mayReturn);
        if (depth > 1) {
            scope_.resize(outer);
            lambdas_.resize(outerLambdas);
            pointers_.resize(outerPointers);
        }
    }

    void statement(unsigned depth, bool isInLoop, bool mayReturn) {
        const std::string pad = indent(depth);
        const unsigned what = depth > 2 ? below(50) : below(100);
        if (what < 25) return declare(depth);
        if (what < 39) return assign(depth);
        if (what < 42) return point(depth);
        if (what < 50) return callStatement(depth);
        if (what < 62) {
            line(pad + "if (" + expression(Kind::boolean) + ") {");
            block(depth + 1, 1 + below(3), isInLoop, mayReturn);
            if (isInLoop && chance(25))
                line(indent(depth + 1) + (chance(50) ? "break;" : "continue;"));
            else if (mayReturn && chance(20))
                line(indent(depth + 1) + "return " + cast(result_, expression(result_)) + ";");
            if (chance(50)) {
                line(pad + "} else {");
                block(depth + 1, 1 + below(3), isInLoop, mayReturn);
            }
            line(pad + "}");
        } else if (what < 76) {
            const std::string name = fresh("i");
            const bool isSigned = chance(60);
            line(pad + "for (" + (isSigned ? "int " : "uint ") + name + " = 0; " + name + " < " +
                 std::to_string(1 + below(6)) + (isSigned ? "" : "u") + "; " +
                 (chance(50) ? "++" + name : name + "++") + ") {");
            scope_.push_back({name, isSigned ? Kind::i32 : Kind::u32, 0, true});
            block(depth + 1, 1 + below(3), true, mayReturn);
            scope_.pop_back();
            line(pad + "}");
        } else if (what < 82) {
            const std::string name = fresh("n");
            line(pad + "int " + name + " = " + std::to_string(1 + below(5)) + ";");
            scope_.push_back({name, Kind::i32, 0, true});
            if (chance(50)) {
                line(pad + "while (" + name + "-- > 0) {");
                block(depth + 1, 1 + below(3), true, mayReturn);
                line(pad + "}");
            } else {
                line(pad + "do {");
                block(depth + 1, 1 + below(3), true, mayReturn);
                line(pad + "} while (--" + name + " > 0" + (chance(30) ? " && " + expression(Kind::boolean, 2) : "") +
                     ");");
            }
        } else if (what < 92) {
            line(pad + "switch (" + expression(Kind::i32, 2) + " & 3) {");
            constexpr const char* labels[] = {"case 0:", "case 1: case 2:", "case 3:", "default:"};
            const unsigned first = below(3);
            for (unsigned i = first; i < 4; ++i) {
                line(pad + labels[i] + " {");
                block(depth + 1, 1 + below(2), false, mayReturn);
                line(pad + "}");
                if (chance(70)) line(indent(depth + 1) + "break;");
            }
            line(pad + "}");
        } else {
            for (const Variable& variable : scope_)
                if (variable.kind == Kind::record && !variable.isConst && variable.arraySize == 0) {
                    line(pad + variable.name + ".bump(" + expression(Kind::i32, 2) + ");");
                    return;
                }
            assign(depth);
        }
    }

    std::mt19937 random_;
    std::string out_;
    std::string prefix_;
    std::vector<Variable> scope_;
    std::vector<Variable> globals_;
    std::vector<std::string> lambdas_; // functions of one int
    struct Pointer {
        std::string name;
        Kind kind;
        std::vector<std::string> places; // that it may be set to
    };
    std::vector<Pointer> pointers_;
    std::vector<Function> functions_;
    Kind result_ = Kind::i32;
    unsigned nextName_ = 0;
    unsigned statements_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    const auto seed = static_cast<std::uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1);
    const auto count = static_cast<unsigned>(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 100);
    for (unsigned i = 0; i < count; ++i) {
        Generator generator(seed * 1000003U + i);
        std::printf("PROGRAM_BEGIN(%u)\n%sPROGRAM_END\n", i, generator.program(i).c_str());
    }
    std::printf("#define PROGRAMS(X)");
    for (unsigned i = 0; i < count; ++i)
        std::printf(" X(%u)", i);
    std::printf("\n");
}
