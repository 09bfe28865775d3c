// What is wrong with classes, lambdas, packs and constant programs, or has no place here, is said at its line and by
// its name; texts that refer to themselves end in a message.
#include "MSL/Compiler.h"

#include <gtest/gtest.h>

#include <string>

namespace msl {
namespace {

struct Row {
    const char* declarations;
    const char* body; // of a kernel with the argument o
    const char* message;
};

TEST(ClassErrors, AreSaidByName) {
    const Row rows[] = {
        {"struct A : A {};", "", "1:12: error: base class has incomplete type 'A'"},
        {"struct A { int x; }; struct B : A, A {};", "", "base class 'A' specified more than once"},
        {"union U { int a; }; struct A : U {};", "", "unions cannot be base classes"},
        {"struct A { virtual void f(); };", "", "'virtual' is not supported here"},
        {"struct B { int x : 3; };", "", "a bit-field is not supported here"},
        {"struct S { S() : S(1) {} S(int) : S() {} };", "S s;", "recursion is not supported"},
        {"struct S { S(int x) = delete; S() = default; };", "S s(1);", "call to deleted constructor of 'S'"},
        {"struct S { void f(); }; void S::g() {}", "", "out-of-line definition of 'g' does not match"},
        {"void S::f() {}", "", "use of undeclared identifier 'S'"},
        {"", "int x = 1; auto f = [=]() { x = 2; }; f();",
         "cannot assign to a variable captured by copy in a non-mutable lambda"},
        {"", "int x = 1; auto g = []() { return x; }; o[0] = g();",
         "variable 'x' cannot be implicitly captured in a lambda with no capture-default specified"},
        {"", "auto f = [this]() { return 1; }; o[0] = f();", "'this' cannot be captured in this context"},
        {"", "auto f = [](auto g) { return g(g); }; o[0] = f(f);", "cannot be used before it is defined"},
        {"template <typename... T> int f(T... x) { return f(x..., 1); }", "o[0] = f(1);", "error: "},
        {"template <typename... T> struct S { S<T..., int> s; };", "S<int> s;",
         "recursive template instantiation exceeded maximum depth"},
        {"template <typename A, typename B> struct S {}; template <typename A> struct S<A, int> {}; template <typename "
         "A> "
         "struct S<int, A> {};",
         "S<int, int> s;", "ambiguous partial specializations of 'S'"},
        {"template <typename T> enable_if_t<is_integral_v<T>, int> f(T x) { return x; }", "o[0] = f(1.0);",
         "no matching function for call to 'f'"},
        {"constexpr int f(int n) { return f(n); }", "int a[f(3)];",
         "array size is not an integral constant expression"},
        {"constexpr int f(int n) { while (true) n++; return n; } static_assert(f(1), \"\");", "",
         "static assertion expression is not an integral constant expression"},
        {"namespace a = b;", "", "expected namespace name"},
    };
    for (const Row& row : rows) {
        const std::string source = std::string(row.declarations) +
                                   "\n#include <metal_stdlib>\nusing namespace metal;\n"
                                   "kernel void k(device int* o [[buffer(0)]]) { " +
                                   row.body + " }\n";
        // The library's names are seen from the first line on, as in a text that begins with its includes.
        const bool needsLibrary = source.find("enable_if") != std::string::npos;
        const auto compiled = compile(needsLibrary ? "using namespace metal;" + source : source);
        ASSERT_FALSE(compiled) << row.declarations << row.body;
        EXPECT_NE(compiled.error().text.find(row.message), std::string::npos) << row.message << "\n"
                                                                              << compiled.error().text;
    }
}

} // namespace
} // namespace msl
