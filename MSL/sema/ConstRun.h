// Computes typed expressions while compiling, and runs the constexpr functions that they call: walks resolved bodies
// with the values of their variables in a ConstStore. What numbers are made of which is the business of MSL/constant.
// Anything that has no value at compile time ends the run without one. Bounded in steps, depth and numbers, since the
// text is untrusted. Made for one evaluation; one may stand inside another, when a body has to be resolved during it.
#pragma once

#include "MSL/constant/Functions.h"
#include "MSL/sema/Analyzer.h"
#include "MSL/sema/ConstStore.h"

#include <unordered_map>
#include <vector>

namespace msl {

// What the runs of one compile share.
struct Analyzer::ConstantState {
    ConstStore store;        // of variables and of what is being computed
    ConstStore constants;    // of the program's constants that a run has met
    std::uint64_t steps = 0; // of the outermost run that goes on
    unsigned depth = 0;      // of expressions, statements and calls inside each other
    unsigned runs = 0;       // inside each other
    ConstantFault fault;     // what ended the last run
};

class Analyzer::ConstantRun {
    using Scalar = constant::Scalar;

  public:
    explicit ConstantRun(Analyzer& analyzer);
    ~ConstantRun();
    ConstantRun(const ConstantRun&) = delete;
    ConstantRun& operator=(const ConstantRun&) = delete;

    // The value of an expression of scalar or enumeration type.
    ConstantValue scalar(Expr* expr);
    // Whether an expression of any type has a value.
    bool hasValue(Expr* expr);

    static constexpr std::uint64_t maxSteps = 1'000'000;
    static constexpr unsigned maxDepth = 3072; // about 512 calls of ordinary functions
    static constexpr unsigned maxRuns = 4;
    static constexpr std::size_t numbersPerStep = 16; // that are copied or made

  private:
    struct Frame {
        Scalar* self = nullptr;   // the object of a member function
        Scalar* result = nullptr; // where the value that is returned goes
    };
    enum class Flow : std::uint8_t { next, leaves, continues, returns, fails };
    using Numbers = std::span<Scalar>;
    using Known = std::span<const Scalar>;

    static bool isNumber(TypeRef type) { return type->isScalar() || type->is(TypeKind::enum_); }
    // Of a number, vector or matrix.
    static ScalarKind kindOf(TypeRef type) { return type->is(TypeKind::enum_) ? type->element->scalar : type->scalar; }

    // Gives back at its end what was taken from the store since its beginning.
    struct Scratch {
        explicit Scratch(ConstStore& taken) : store(taken), mark(taken.mark()) {}
        ~Scratch() { store.release(mark); }
        Scratch(const Scratch&) = delete;
        Scratch& operator=(const Scratch&) = delete;
        ConstStore& store;
        ConstStore::Mark mark;
    };
    struct Deeper {
        explicit Deeper(unsigned& counter) : depth(counter) { ++depth; }
        ~Deeper() { --depth; }
        Deeper(const Deeper&) = delete;
        Deeper& operator=(const Deeper&) = delete;
        unsigned& depth;
    };

    // ---- ConstRun.cpp
    bool step(std::size_t units = 1);
    bool isTooDeep();
    bool fails(SourceLocation at, std::string why); // false; the language does not take it for a constant
    bool limit(std::string why);                    // false; too much to compute
    Numbers take(TypeRef type); // room for a value; empty when the type has none, or there is no more room
    void bind(const VarDecl* var, Scalar* numbers);
    void unbindTo(std::size_t count);

    // ---- ConstRunValue.cpp: `out` has room for the value of the expression's type
    bool value(Expr* expr, Numbers out);
    bool valueOf(Expr* expr, Numbers out);
    bool truth(Expr* condition, bool& out);
    bool zero(TypeRef type, Numbers out); // with the default initialisers of members
    bool cast(CastKind kind, Expr* operand, TypeRef type, SourceLocation at, Numbers out);
    bool convertNumber(Scalar& number, ScalarKind to, SourceLocation at);
    bool convert(TypeRef from, Known numbers, TypeRef to, SourceLocation at, Numbers out);
    bool unary(Unary* node, Numbers out);
    bool binary(Binary* node, Numbers out);
    bool operation(BinaryOp op, TypeRef leftType, Known left, TypeRef rightType, Known right, SourceLocation at,
                   Numbers out);
    bool construct(Construct* node, Numbers out);
    bool aggregate(Construct* node, Numbers out);
    bool memberByDefault(TypeRef object, std::size_t field, Numbers out); // `out` is the whole object

    // ---- ConstRunPlace.cpp: what lvalues stand for; null when nothing known
    Scalar* place(Expr* expr);
    Scalar* placeOfVariable(VarDecl* var);
    Scalar* placeOfTarget(Expr* pointer);
    Scalar* placeOfMember(Member* node);
    Scalar* placeOfElement(Index* node);
    Expr* elementOfConstant(Expr* array, std::uint64_t number) const;
    bool copy(Expr* lvalue, Numbers out);
    bool assign(Binary* node, Numbers out);
    bool increment(Unary* node, Numbers out);

    // ---- ConstRunCall.cpp
    bool call(Call* call, Numbers out);
    bool callLibrary(Call* call, Numbers out);
    bool runConstructor(Construct* node, Numbers out);
    bool bindArguments(FunctionDecl* function, std::span<Expr*> arguments);
    FunctionDecl* runnable(FunctionDecl* function);
    void noteCaller(const Call* call, const FunctionDecl* function);

    // ---- ConstRunStmt.cpp
    Flow run(Stmt* stmt);
    Flow runStatement(Stmt* stmt);
    Flow loop(Expr* condition, Expr* increment, Stmt* body, bool bodyFirst);
    Flow rangeFor(RangeForStmt* stmt);
    Flow runSwitch(SwitchStmt* stmt);
    bool declare(VarDecl* var);

    Analyzer& analyzer_;
    ConstantState& state_;
    ConstStore& store_;
    ConstStore::Mark start_;
    ConstStore::Mark constantsStart_;
    ConstantFault outerFault_; // of the run that this one stands in
    Frame frame_;
    // A variable's numbers, or those of what a reference is bound to. What was there before stands in undone_, for the
    // end of the call that bound it: a function may call itself.
    std::unordered_map<const VarDecl*, Scalar*> bound_;
    std::vector<std::pair<const VarDecl*, Scalar*>> undone_;
    std::vector<Scalar*> given_; // the arguments of calls whose others are still being computed
};

} // namespace msl
