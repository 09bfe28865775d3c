// The expressions of the tree; Ast.h says what holds of them after sema.
#pragma once

#include "MSL/ast/Names.h"
#include "MSL/builtins/BuiltinId.h"

namespace msl {

enum class ExprKind : std::uint8_t {
    intLiteral,
    floatLiteral,
    boolLiteral,
    stringLiteral,
    nameRef,
    member,
    index,
    call,
    construct,
    cast,
    implicitCast,
    unary,
    binary,
    conditional,
    initList,
    sizeOf,
    lambda,
    packExpansion,
    fold,
    error, // what could not be parsed or made out
};

enum class ValueCategory : std::uint8_t { rvalue, lvalue };

struct Expr {
    ExprKind kind;
    ValueCategory category = ValueCategory::rvalue;
    AddressSpace space = AddressSpace::thread; // lvalue: where it lies
    bool isConst = false;                      // lvalue: may not be written
    bool isParenthesized = false;
    bool isDependent = false; // depends on a template parameter; type is a dependent type
    std::uint16_t height = 1; // nesting below it; the parser bounds it, so that passes may recurse
    SourceLocation location;  // where messages point (an operator for binary, the name for a member)
    SourceLocation begin;     // first token
    TypeRef type = nullptr;

  protected:
    explicit Expr(ExprKind k) : kind(k) {}
};

struct ErrorExpr : Expr {
    ErrorExpr() : Expr(ExprKind::error) {}
};

struct IntLiteral : Expr { // sema picks int, uint, long, ulong from value and suffix; character literals are char
    IntLiteral() : Expr(ExprKind::intLiteral) {}
    std::uint64_t value = 0;
    bool isUnsigned = false;
    bool isLong = false;
    bool isDecimal = true;
    bool isCharacter = false;
    bool isNullptr = false; // "nullptr", value 0
};
struct FloatLiteral : Expr { // unsuffixed literals are single precision
    FloatLiteral() : Expr(ExprKind::floatLiteral) {}
    double value = 0;
    ScalarKind scalar = ScalarKind::float_;
};
struct BoolLiteral : Expr {
    BoolLiteral() : Expr(ExprKind::boolLiteral) {}
    bool value = false;
};
struct StringLiteral : Expr {
    StringLiteral() : Expr(ExprKind::stringLiteral) {}
    std::string_view text;
};

struct NameRef : Expr {
    NameRef() : Expr(ExprKind::nameRef) {}
    Name name;
    Decl* decl = nullptr; // sema: the variable, parameter, enumerator or function; null for builtins and overload sets
    bool isThis = false;  // "this"
};

struct Member : Expr { // base.name, base->name (sema dereferences the base of an arrow: then base is the pointer)
    Member() : Expr(ExprKind::member) {}
    Expr* base = nullptr;
    bool isArrow = false;
    Name name;
    VarDecl* field = nullptr;         // sema: a struct's field; null for a swizzle or a function name
    FunctionDecl* function = nullptr; // sema: a member function, as the callee of a call
    std::uint8_t swizzleCount = 0;    // sema: 1..4 for vector components
    std::uint8_t swizzle[4] = {};
};

struct Index : Expr {
    Index() : Expr(ExprKind::index) {}
    Expr* base = nullptr; // array, vector, matrix lvalue or rvalue, or pointer rvalue
    Expr* index = nullptr;
};

// A call. After sema exactly one of function and builtin is set; object is the "x" of x.f() or of a call operator.
struct Call : Expr {
    Call() : Expr(ExprKind::call) {}
    Expr* callee = nullptr;
    std::span<Expr*> arguments; // after sema: converted, default arguments filled in. An argument bound to a reference
                                // parameter stays an lvalue (or an rvalue that wants a temporary, for const references)
    FunctionDecl* function = nullptr;
    BuiltinId builtin = BuiltinId::none;
    Precision precision = Precision::standard;
    Expr* object = nullptr; // lvalue or rvalue of the struct, texture ...; a pointer when objectIsPointer
    bool objectIsPointer = false;
};

// T(args), T{args}, and after sema every constructor use: vector/matrix from parts, struct aggregate, user constructor.
enum class ConstructKind : std::uint8_t {
    unresolved,
    zero,        // T(), T{}: value initialisation
    convert,     // one argument, a conversion: the argument is already cast to the type
    splat,       // vector from one scalar; matrix from one scalar: diagonal
    components,  // vector from parts (scalars and vectors, scalar kinds already converted)
    columns,     // matrix from column vectors
    scalars,     // matrix from columns*rows scalars, column by column
    matrix,      // matrix from a matrix of another scalar kind (same shape)
    aggregate,   // struct or array from its members in order; missing ones take their default initialiser or zero
    constructor, // a user's constructor: constructor + arguments
};
struct Construct : Expr {
    Construct() : Expr(ExprKind::construct) {}
    TypeSyntax* typeSyntax = nullptr; // null where sema makes the node
    std::span<Expr*> arguments;
    bool isBraced = false;
    ConstructKind constructKind = ConstructKind::unresolved;
    FunctionDecl* constructor = nullptr;
};

enum class CastSyntax : std::uint8_t { cStyle, static_, reinterpret_, const_, asType };
enum class CastKind : std::uint8_t {
    none, // same type
    lvalueToRvalue,
    scalarConversion, // scalar, vector or matrix to another scalar kind, component by component (bool: != 0)
    splat,            // scalar to vector
    bitcast,          // as_type, and pointer to pointer by reinterpret_cast
    packedToVector,
    vectorToPacked,
    arrayToPointer,
    enumToInteger,
    integerToEnum,
    pointerToBool,
    pointerToInteger, // its address
    integerToPointer,
    nullToPointer,
    toDerived, // an lvalue of a base class to the object that it is part of
    toVoid,
};
struct Cast : Expr { // written by the user
    Cast() : Expr(ExprKind::cast) {}
    CastSyntax syntax = CastSyntax::cStyle;
    CastKind castKind = CastKind::none;
    TypeSyntax* typeSyntax = nullptr;
    Expr* operand = nullptr; // after sema converted so that one CastKind finishes the cast; or a Construct
};
struct ImplicitCast : Expr {
    ImplicitCast() : Expr(ExprKind::implicitCast) {}
    CastKind castKind = CastKind::none;
    Expr* operand = nullptr;
};

enum class UnaryOp : std::uint8_t {
    plus,
    minus,
    logicalNot,
    bitNot,
    preIncrement,
    preDecrement,
    postIncrement,
    postDecrement,
    dereference,
    addressOf
};
struct Unary : Expr {
    Unary() : Expr(ExprKind::unary) {}
    UnaryOp op = UnaryOp::plus;
    Expr* operand = nullptr;
};

enum class BinaryOp : std::uint8_t {
    mul,
    div,
    rem,
    add,
    sub,
    shl,
    shr,
    less,
    greater,
    lessEqual,
    greaterEqual,
    equal,
    notEqual,
    bitAnd,
    bitXor,
    bitOr,
    logicalAnd,
    logicalOr,
    assign,
    mulAssign,
    divAssign,
    remAssign,
    addAssign,
    subAssign,
    shlAssign,
    shrAssign,
    andAssign,
    xorAssign,
    orAssign,
    comma,
};
constexpr bool isAssignment(BinaryOp op) {
    return op >= BinaryOp::assign && op <= BinaryOp::orAssign;
}

// After sema both sides are rvalues of operandType-compatible types: for arithmetic both have the operation's type,
// except matrix*vector, matrix*scalar and pointer arithmetic, where each keeps its own; comparisons have equal operand
// types; shifts keep the left side's type. A compound assignment has an lvalue left; computationType says in which type
// it computes (left is converted to it, right already has it, the result is converted back). An overloaded operator
// becomes a Call instead.
struct Binary : Expr {
    Binary() : Expr(ExprKind::binary) {}
    BinaryOp op = BinaryOp::add;
    Expr* left = nullptr;
    Expr* right = nullptr;
    TypeRef computationType = nullptr;
};

struct Conditional : Expr { // condition is a bool scalar; (a vector condition becomes a select builtin call)
    Conditional() : Expr(ExprKind::conditional) {}
    Expr* condition = nullptr;
    Expr* whenTrue = nullptr;
    Expr* whenFalse = nullptr;
};

struct Initializer {
    const Identifier* designator = nullptr; // ".name ="
    Expr* indexDesignator = nullptr;        // "[3] ="
    bool isNested = false;                  // ".a.b = 1": the value is the list {.b = 1}
    Expr* value = nullptr;
    SourceLocation location;
};
struct InitList : Expr { // { a, b, .c = d }; after sema replaced by Construct nodes
    InitList() : Expr(ExprKind::initList) {}
    std::span<Initializer> initializers;
};

struct SizeOf : Expr { // sizeof(type), sizeof expr or sizeof...(pack); alignof too
    SizeOf() : Expr(ExprKind::sizeOf) {}
    TypeSyntax* typeSyntax = nullptr;
    Expr* operand = nullptr;
    const Identifier* pack = nullptr;
    bool isAlignOf = false;
    std::uint64_t value = 0; // sema
};

struct Lambda : Expr {
    Lambda() : Expr(ExprKind::lambda) {}
    struct Capture {
        const Identifier* name = nullptr; // null with isThis
        bool byReference = false;
        bool isThis = false;
        Expr* initializer = nullptr; // "[n = 3]"
        SourceLocation location;
    };
    bool capturesAllByValue = false;
    bool capturesAllByReference = false;
    std::span<Capture> captures;
    FunctionDecl* function = nullptr; // the call operator
};
// After sema a lambda is an aggregate Construct of its closure: a struct with one field a capture.

struct PackExpansion : Expr { // "pattern..." in a list; sema replaces it by one expression for each element
    PackExpansion() : Expr(ExprKind::packExpansion) {}
    Expr* pattern = nullptr;
};

// "(pack op ...)", "(... op pack)", "(first op ... op pack)", "(pack op ... op last)": the side that is left out is null.
// Sema replaces it by the operations.
struct Fold : Expr {
    Fold() : Expr(ExprKind::fold) {}
    BinaryOp op = BinaryOp::add;
    Expr* left = nullptr;
    Expr* right = nullptr;
};

} // namespace msl
