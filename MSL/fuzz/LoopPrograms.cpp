#include "MSL/fuzz/LoopPrograms.h"

#include <array>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace msl::fuzz {

namespace {

struct Integer {
    std::string_view name;
    unsigned bits;
    bool isSigned;
};
constexpr Integer integers[] = {{"int", 32, true}, {"uint", 32, false}, {"short", 16, true}, {"ushort", 16, false},
                                {"char", 8, true}, {"uchar", 8, false}, {"long", 64, true},  {"ulong", 64, false},
                                {"int", 32, true}, {"uint", 32, false}, {"int", 32, true},   {"uint", 32, false}};

class Generator {
  public:
    explicit Generator(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ULL + 0x1234567) {}

    std::string program() {
        count_ = 1 + below(9);
        isPlain_ = chance(2);
        for (Counter& counter : counters_) {
            counter.type = integers[isPlain_ && chance(2) ? 0 : below(std::size(integers))];
            counter.name = std::string(1, "ijk"[&counter - counters_.data()]);
            counter.isMember = chance(8);
            counter.isComponent = !counter.isMember && chance(8);
        }
        const std::string size = std::to_string(count_);
        std::string text = "#include <metal_stdlib>\nusing namespace metal;\nstruct Fixed { int before; int a[" + size +
                           "]; int behind; };\n";
        for (const Counter& counter : counters_) {
            const std::string type(counter.type.name);
            const std::string name = counter.name;
            text += "struct Box" + name + " { " + type + " n; };\n";
            text += type + " next" + name + "(" + type + " x) { return x + " + smallNumber() + "; }\n";
            text += "void push" + name + "(thread " + type + "& x) { x += " + smallNumber() + "; }\n";
            text += "void move" + name + "(thread " + type + "* x) { *x = *x + " + smallNumber() + "; }\n";
        }
        text += "kernel void check(device int* open [[buffer(0)]], constant Fixed& fixed [[buffer(1)]],\n"
                "                  device Fixed& given [[buffer(2)]], device Fixed* rows [[buffer(3)]]) {\n"
                "    int a[" +
                size + "] = {};\n    int4 v = int4(1, 2, 3, 4);\n    int s = 0;\n";
        for (const Counter& counter : counters_) {
            const std::string type(counter.type.name);
            if (counter.isMember)
                text += "    Box" + counter.name + " box" + counter.name + " = { " + type + "(" + number(counter) +
                        ") };\n";
            else if (counter.isComponent)
                text += "    " + type + "2 vec" + counter.name + " = " + type + "2(" + number(counter) + ");\n";
            else
                text += "    " + type + " " + counter.name + " = " + number(counter) + ";\n";
        }
        areDeclared_ = true;
        const unsigned loops = 1 + below(isPlain_ ? 2 : 3);
        for (unsigned i = 0; i < loops; ++i) {
            if (isPlain_ || chance(2)) text += indent(1) + alias();
            text += loop(1);
        }
        return text + "    given.behind = s + a[0] + v.x;\n}\n";
    }

  private:
    struct Counter {
        Integer type = {};
        std::string name;
        bool isMember = false;
        bool isComponent = false;
        std::string text() const { return isMember ? "box" + name + ".n" : isComponent ? "vec" + name + ".x" : name; }
    };

    // splitmix64
    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15ULL;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31U);
    }
    unsigned below(std::size_t limit) { return static_cast<unsigned>(next() % limit); }
    bool chance(unsigned oneIn) { return below(oneIn) == 0; }
    template <typename T>
    T pick(std::initializer_list<T> list) {
        return list.begin()[below(list.size())];
    }
    static std::string indent(unsigned depth) { return std::string(std::size_t{4} * depth, ' '); }
    const Counter& counter() { return counters_[chance(isPlain_ ? 6 : 2) ? below(counters_.size()) : 0]; }

    std::string smallNumber() { return pick<const char*>({"1", "1", "1", "2", "3", "7", "-1", "64", "(1 << 29)"}); }

    // A start or a bound: near zero, near the arrays' ends, near the type's ends, or known only at run time.
    std::string number(const Counter& of) {
        const int size = static_cast<int>(count_);
        const std::string type(of.type.name);
        switch (isPlain_ && !chance(6) ? pick<unsigned>({0, 5, 6, 8, 8, 10, areDeclared_ ? 10U : 0U}) : below(12)) {
        case 0: return type + "(" + edge(of.type, below(3)) + ")";
        case 1: return type + "(" + edge(of.type, below(3)) + ")";
        case 2: return type + "(given.a[0])";
        case 3: return type + "(given.before & 7)";
        case 4: return std::to_string(of.type.isSigned ? -1 - static_cast<int>(below(3)) : 0);
        case 5: return std::to_string(size + 1);
        case 6: return std::to_string(size - 1);
        case 7: return areDeclared_ ? counter().text() : "2";
        case 8:
        case 9: return "0";
        default: return std::to_string(size);
        }
    }
    // The largest number, the one before it, or the least of the signed ones.
    static std::string edge(Integer type, unsigned which) {
        const std::uint64_t largest = ~std::uint64_t{0} >> (64 - type.bits + (type.isSigned ? 1 : 0));
        const std::string suffix = std::string(type.isSigned ? "" : "u") + (type.bits == 64 ? "l" : "");
        const bool isLeast = which == 2 && type.isSigned;
        const std::string text = std::to_string(which == 1 ? largest - 1 : largest) + suffix;
        return isLeast ? "-" + text + " - 1" : text;
    }

    std::string alias() {
        const Counter& of = counter();
        aliases_.push_back("t" + std::to_string(aliases_.size()));
        return (chance(3) ? "" : "const ") + std::string(of.type.name) + " " + aliases_.back() + " = " + of.text() +
               ";\n";
    }

    // An integer expression that may be used as an index.
    std::string index() {
        const std::string of = !aliases_.empty() && chance(4) ? aliases_[below(aliases_.size())] : counter().text();
        switch (below(12)) {
        case 0: return of + " + 1";
        case 1: return of + " - 1";
        case 2: return of + " * 2";
        case 3: return of + " & 3";
        case 4: return of + " >> " + std::to_string(below(34));
        case 5: return "clamp(int(" + of + "), 0, " + std::to_string(count_ - 1) + ")";
        case 6: return "int(" + of + ") % " + std::to_string(count_);
        case 7: return "min(uint(" + of + "), " + std::to_string(count_ - 1) + "u)";
        default: return of;
        }
    }

    std::string access() {
        const std::string at = isPlain_ ? counter().text() : index();
        switch (below(9)) {
        case 0: return "a[" + at + "] += 1;";
        case 1: return "s += a[" + at + "];";
        case 2: return "s += fixed.a[" + at + "];";
        case 3: return "given.a[" + at + "] = s;";
        case 4: return "s += open[" + at + "];";
        case 5: return "open[" + at + "] = s;";
        case 6: return "v[" + at + "] += s;";
        case 7: return "rows[" + at + "].a[" + index() + "] = 3;";
        default: return "s += rows[" + at + "].a[" + index() + "];";
        }
    }

    std::string truth() {
        switch (below(5)) {
        case 0: return "(s & 1) == 0";
        case 1: return "given.before > s";
        case 2: return counter().text() + " > 2";
        case 3: return "a[0] < 4";
        default: return "s < 100";
        }
    }

    std::string test(const Counter& of) {
        const std::string op = pick<const char*>({"<", "<", "<", "<=", ">", ">=", "!="});
        const std::string bound = number(of);
        const std::string text = of.text();
        switch (isPlain_ && !chance(8) ? 8 : below(9)) {
        case 0: return bound + " " + pick<const char*>({">", ">=", "<", "<="}) + " " + text;
        case 1: return text + " " + op + " " + bound + " && " + truth();
        case 2: return truth() + " && " + text + " " + op + " " + bound;
        case 3: return text + " " + op + " " + bound + " || " + truth();
        case 4: return text + pick<const char*>({"++", "--"}) + " " + op + " " + bound;
        case 5: return pick<const char*>({"++", "--"}) + text + " " + op + " " + bound;
        default: return text + " " + op + " " + bound;
        }
    }

    std::string step(const Counter& of) {
        const std::string text = of.text();
        const std::string n = smallNumber();
        switch (isPlain_ && !chance(10) ? pick<unsigned>({0, 1, 2, 5, 5, 6, 13, 17, 17}) : below(18)) {
        case 0: return text + " += " + n;
        case 1: return text + " -= " + n;
        case 2: return text + " = " + text + " + " + n;
        case 3: return text + " = " + n + " + " + text;
        case 4: return text + " = " + counter().text() + " + " + n;
        case 5:
        case 6: return text + " = " + (aliases_.empty() ? text : aliases_[below(aliases_.size())]) + " + " + n;
        case 7: return text + " = next" + of.name + "(" + text + ")";
        case 8: return of.isComponent ? text + "++" : "push" + of.name + "(" + text + ")";
        case 9: return of.isComponent ? text + "--" : "move" + of.name + "(&" + text + ")";
        case 10: return "[&] { " + text + " += " + n + "; }()";
        case 11: return text + " += " + n + ", " + counter().text() + " += 1";
        case 12: return text + " *= 2";
        case 13: return text + "--";
        default: return chance(2) ? text + "++" : "++" + text;
        }
    }

    std::string statement(unsigned depth) {
        const std::string in = indent(depth);
        switch (isPlain_ && !chance(5) ? 12 : below(13)) {
        case 0: return in + "if (" + truth() + ") continue;\n";
        case 1: return in + "if (" + truth() + ") break;\n";
        case 2: return in + step(counter()) + ";\n";
        case 3: return in + "if (" + truth() + ") " + step(counter()) + ";\n";
        case 4: {
            const Counter& of = counter();
            return in + of.text() + " = " + number(of) + ";\n";
        }
        case 5:
            if (depth < 4) return loop(depth);
            return in + access() + "\n";
        case 6: {
            const std::size_t known = aliases_.size();
            std::string text = in + "{ " + alias();
            text += in + "  " + access() + "\n" + in + "  " + step(counter()) + "; }\n";
            aliases_.resize(known);
            return text;
        }
        case 7:
            return in + "switch (s & 3) { case 0: " + step(counter()) + "; break; case 1: " + access() +
                   " default: " + access() + " }\n";
        case 8: return in + "for (int n = 0; n < 9; n++) " + step(counter()) + ";\n";
        default: return in + access() + "\n";
        }
    }

    std::string loop(unsigned depth) {
        const Counter& of = counter();
        const std::string in = indent(depth);
        const std::size_t known = aliases_.size();
        std::string body;
        if (chance(5)) body += indent(depth + 1) + alias();
        const unsigned statements = 1 + below(3);
        for (unsigned i = 0; i < statements; ++i)
            body += statement(depth + 1);
        std::string text;
        switch (below(8)) {
        case 0:
            text = in + "while (" + test(of) + ") {\n" + body + indent(depth + 1) + step(of) + ";\n" + in + "}\n";
            break;
        case 1:
            text = in + "do {\n" + body + indent(depth + 1) + step(of) + ";\n" + in + "} while (" + test(of) + ");\n";
            break;
        case 2:
            aliases_.resize(known);
            text = in + "for (;; " + step(of) + ") {\n" + indent(depth + 1) + "if (" + of.text() + " >= " + number(of) +
                   ") break;\n" + body + in + "}\n";
            break;
        case 3:
            aliases_.resize(known);
            text = in + "for (; " + test(of) + "; " + step(of) + ") {\n" + body + in + "}\n";
            break;
        default:
            aliases_.resize(known); // what the body declares is not there in the step
            text = in + "for (" + of.text() + " = " + number(of) + "; " + test(of) + "; " + step(of) + ") {\n" + body +
                   in + "}\n";
        }
        aliases_.resize(known);
        return text + (chance(3) ? in + access() + "\n" : "");
    }

    std::uint64_t state_;
    unsigned count_ = 1;   // elements of the arrays
    bool isPlain_ = false; // nearly a loop that is easy to prove, so that one thing alone is wrong with it
    std::array<Counter, 3> counters_;
    std::vector<std::string> aliases_; // in scope
    bool areDeclared_ = false;         // the counters
};

} // namespace

std::string loopProgram(std::uint64_t seed) {
    return Generator(seed).program();
}

} // namespace msl::fuzz
