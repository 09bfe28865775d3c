// The syntax tree. The parser makes it with names unresolved; sema resolves names, gives every expression its type and
// value category, and makes every conversion explicit (ImplicitCast), so that lowering never has to guess. Nodes live
// in the compile's arena, are plain structs with a kind, and are never freed or copied, except that instantiating a
// template clones a declaration and resolves the clone.
//
// Conventions after sema:
//  - Expr::type is never null; TypeTable::error() marks what could not be made out (reported already).
//  - A reference variable's NameRef is an lvalue of the referee's type: reference types never appear on expressions.
//  - An lvalue that is read has an ImplicitCast of CastKind::lvalueToRvalue over it.
//  - Literals take the type they are converted to on the spot; sizeof, numeric_limits and the values of template
//    parameters are literals (of any integer type) too.
//  - A field's bare name in a member function is a Member with isArrow on a NameRef with isThis.
//  - A swizzle of a swizzle is one swizzle; one with a repeated component, or of an rvalue, is an rvalue.
//  - A matrix divided by a scalar is multiplied by its reciprocal. In a compound assignment with a matrix in it the
//    right side keeps its own type, as in a plain product.
//  - The value and the labels of a switch are integers of one type, enumerations included.
//  - Instances of templates are FunctionDecls and StructDecls of their own, reached by the calls and types that use
//    them; TranslationUnit::declarations holds the templates, which stay unresolved and are to be skipped.
//  - Attributes that take a number have an IntLiteral; a buffer, texture or sampler of an entry point that has none has
//    been given one.
#pragma once

#include "MSL/builtins/BuiltinId.h"
#include "MSL/lex/Identifier.h"
#include "MSL/source/SourceLocation.h"
#include "MSL/types/Types.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

struct Expr;
struct Stmt;
struct Decl;
struct VarDecl;
struct FunctionDecl;
struct StructDecl;
struct EnumDecl;
struct TypeSyntax;
struct CompoundStmt;
struct SamplerState;

// ---------------------------------------------------------------------------------------------- names and types

struct TemplateArgument { // exactly one is set by the parser; sema fills resolvedType or value
    TypeSyntax* typeSyntax = nullptr;
    Expr* expression = nullptr; // may also turn out to name a type when it is a bare name: then sema sets resolvedType
    TypeRef resolvedType = nullptr;
    std::int64_t value = 0;
    bool isExpansion = false;         // followed by "..."
    bool isPack = false;              // what a parameter pack is bound to: the arguments in pack
    std::span<TemplateArgument> pack; // sema
};

// A possibly qualified name, "metal::fast::sin" or "array<float, 4>".
struct Name {
    std::span<const Identifier*> qualifiers; // namespaces, structs and enums before the last "::"
    bool isGlobal = false;                   // begins with "::"
    TypeSyntax* qualifierType = nullptr;     // the qualifiers when the last has template arguments, as in
                                             // "numeric_limits<float>::max"; qualifiers is empty then
    const Identifier* identifier = nullptr;
    std::span<TemplateArgument> templateArguments;
    bool hasTemplateArguments = false;
    SourceLocation location; // of the last identifier
};

enum class SpaceSyntax : std::uint8_t { none, thread, constant, device, threadgroup };

// One level of a declarator around a base type, outermost last: "float* x[3]" is base float, pointer, then array.
struct TypeModifier {
    enum class Kind : std::uint8_t { pointer, reference, rvalueReference, array } kind = Kind::pointer;
    bool isConst = false;                  // "* const"
    Expr* arraySize = nullptr;             // null with kind array: "[]"
    SpaceSyntax space = SpaceSyntax::none; // "device float* thread p": where the pointer itself lies
    SourceLocation location;
};

struct TypeSyntax {
    Name name;                          // the base type's name; built-in types are plain identifiers here
    StructDecl* inlineStruct = nullptr; // "struct { ... } x;" or "struct S { ... } x;"
    EnumDecl* inlineEnum = nullptr;
    SpaceSyntax space = SpaceSyntax::none;
    bool isConst = false;
    bool isVolatile = false;
    bool isElaborated = false;  // "struct S x"
    bool isTypename = false;    // "typename T::type"
    Expr* decltypeOf = nullptr; // "decltype(expr)"
    TypeRef fixed = nullptr;    // sema: the base type where no name stands for it, as of one element of a pack
    std::span<TypeModifier> modifiers;
    SourceLocation location;
    TypeRef resolved = nullptr; // sema
};

// "[[position]]", "[[buffer(0)]]", "[[user(locn0)]]"; __attribute__((x)) becomes the same with isGnu.
struct Attribute {
    const Identifier* scope = nullptr; // "clang" in [[clang::x]]
    const Identifier* name = nullptr;
    std::span<Expr*> arguments; // a bare word argument is a NameRef
    bool isGnu = false;
    SourceLocation location;
};

// The attributes that say how things lie in memory.
enum class LayoutAttribute : std::uint8_t { none, packed, aligned, alignas_ };
inline LayoutAttribute layoutAttribute(const Attribute& attribute) {
    if (!attribute.name) return LayoutAttribute::none;
    const std::string_view name = attribute.name->text;
    if (name == "alignas") return LayoutAttribute::alignas_;
    const bool isVendors = attribute.scope && (attribute.scope->text == "gnu" || attribute.scope->text == "clang");
    if (!attribute.isGnu && !isVendors) return LayoutAttribute::none;
    if (name == "packed" || name == "__packed__") return LayoutAttribute::packed;
    return name == "aligned" || name == "__aligned__" ? LayoutAttribute::aligned : LayoutAttribute::none;
}

// ---------------------------------------------------------------------------------------------------- expressions

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
    bool isHalf = false;
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

// ------------------------------------------------------------------------------------------------------ statements

enum class StmtKind : std::uint8_t {
    compound,
    declaration,
    expression,
    if_,
    for_,
    rangeFor,
    while_,
    doWhile,
    switch_,
    case_,
    break_,
    continue_,
    return_,
    null,
};

struct Stmt {
    StmtKind kind;
    SourceLocation location;

  protected:
    explicit Stmt(StmtKind k) : kind(k) {}
};

struct CompoundStmt : Stmt {
    CompoundStmt() : Stmt(StmtKind::compound) {}
    std::span<Stmt*> statements;
    SourceLocation end; // the closing brace
};
struct DeclStmt : Stmt { // variables, or a local struct, enum, typedef, using
    DeclStmt() : Stmt(StmtKind::declaration) {}
    std::span<Decl*> declarations;
};
struct ExprStmt : Stmt {
    ExprStmt() : Stmt(StmtKind::expression) {}
    Expr* expression = nullptr;
};
struct IfStmt : Stmt {
    IfStmt() : Stmt(StmtKind::if_) {}
    Stmt* init = nullptr; // "if (float x = f())" puts the declaration here; condition then reads the variable
    Expr* condition = nullptr;
    bool isConstexpr = false;
    Stmt* thenBranch = nullptr;
    Stmt* elseBranch = nullptr;
};
struct ForStmt : Stmt {
    ForStmt() : Stmt(StmtKind::for_) {}
    Stmt* init = nullptr;      // null, declaration or expression
    Expr* condition = nullptr; // null: forever
    Expr* step = nullptr;
    Stmt* body = nullptr;
};
struct RangeForStmt : Stmt { // after sema range is an array, and the variable's initializer reads or binds range[0],
                             // an Index in which the literal 0 stands for the number of the round
    RangeForStmt() : Stmt(StmtKind::rangeFor) {}
    VarDecl* variable = nullptr;
    Expr* range = nullptr;
    Stmt* body = nullptr;
};
struct WhileStmt : Stmt {
    WhileStmt() : Stmt(StmtKind::while_) {}
    Expr* condition = nullptr;
    Stmt* body = nullptr;
};
struct DoWhileStmt : Stmt {
    DoWhileStmt() : Stmt(StmtKind::doWhile) {}
    Stmt* body = nullptr;
    Expr* condition = nullptr;
};
struct SwitchStmt : Stmt { // body is a compound; its top-level statements hold the CaseStmts
    SwitchStmt() : Stmt(StmtKind::switch_) {}
    Expr* value = nullptr;
    CompoundStmt* body = nullptr;
};
struct CaseStmt : Stmt { // a label; the statements that follow it stand beside it in the switch's body
    CaseStmt() : Stmt(StmtKind::case_) {}
    Expr* value = nullptr;     // null: default
    std::int64_t constant = 0; // sema
};
struct BreakStmt : Stmt {
    BreakStmt() : Stmt(StmtKind::break_) {}
};
struct ContinueStmt : Stmt {
    ContinueStmt() : Stmt(StmtKind::continue_) {}
};
struct NullStmt : Stmt {
    NullStmt() : Stmt(StmtKind::null) {}
};
struct ReturnStmt : Stmt {
    ReturnStmt() : Stmt(StmtKind::return_) {}
    Expr* value = nullptr;
};

// ---------------------------------------------------------------------------------------------------- declarations

enum class DeclKind : std::uint8_t {
    variable,
    function,
    struct_,
    enum_,
    enumerator,
    typeAlias,
    namespace_,
    using_,
    usingNamespace,
    namespaceAlias,
    templateParameter,
    pack,
    instantiation,
    staticAssert,
    empty,
};

struct Decl {
    DeclKind kind;
    const Identifier* name = nullptr;
    SourceLocation location; // of the name
    Decl* parent = nullptr;  // enclosing namespace, struct or function; null at file scope
    std::span<Attribute> attributes;
    bool isInvalid = false; // sema reported an error in it

  protected:
    explicit Decl(DeclKind k) : kind(k) {}
};

enum class EntryStage : std::uint8_t { none, vertex, fragment, kernel };

struct TemplateParameterDecl : Decl {
    TemplateParameterDecl() : Decl(DeclKind::templateParameter) {}
    bool isType = true; // typename T; else a value of valueType
    bool isPack = false;
    TypeSyntax* valueType = nullptr;
    TypeSyntax* defaultType = nullptr;
    Expr* defaultValue = nullptr;
    std::uint32_t index = 0;
    TypeRef type = nullptr; // sema: the dependent type that stands for it
    // While an instance is being resolved, sema binds the parameter to its argument here.
    TypeRef boundType = nullptr;
    bool hasBoundValue = false;
    std::int64_t boundValue = 0;
};

// What a parameter pack stands for while an instance is being resolved: its types, values or parameters.
struct PackDecl : Decl {
    PackDecl() : Decl(DeclKind::pack) {}
    std::span<Decl*> elements;
};

// A variable template, or one of its specialisations.
struct VariableTemplate {
    std::span<TemplateParameterDecl*> parameters;
    bool isSpecialization = false;
    std::span<TemplateArgument> specializationArguments;
};

enum class VarKind : std::uint8_t { local, parameter, global, field };

struct VarDecl : Decl {
    VarDecl() : Decl(DeclKind::variable) {}
    VarKind varKind = VarKind::local;
    TypeSyntax* typeSyntax = nullptr;
    TypeRef type = nullptr; // sema; may be a reference or pointer type
    AddressSpace space = AddressSpace::thread;
    bool isConst = false;
    bool isConstexpr = false;
    bool isStatic = false;
    bool isUsed = false;
    bool isBraceInit = false; // T x{...}
    bool isParenInit = false; // T x(...): initializer is null and parenArguments holds them until sema resolves
    std::span<Expr*> parenArguments;
    Expr* initializer = nullptr; // or default argument of a parameter, default member initialiser of a field;
                                 // after sema converted to the variable's type, a Construct for class types
    std::uint32_t index = 0;     // parameter or field number
    std::uint32_t alignment = 0; // sema: a field's by the typedef that names its type; 0: the type's
    Name* scope = nullptr;       // "constant float S::k = 1;": S, and k is the name
    VariableTemplate* variableTemplate = nullptr;
    bool isPack = false;      // the parameter "T... xs"; in an instance one of the parameters that it became
    bool isBase = false;      // the field that a base class is
    bool isEmptyBase = false; // which takes no room, and is no field
    std::uint32_t bitWidth = 0;
    // constexpr and const integral variables whose value sema could compute:
    bool hasConstantValue = false;
    std::int64_t constantValue = 0;
    // a constexpr sampler: its settings; initializer is null then
    const SamplerState* samplerState = nullptr;
    std::uint32_t loweringId = 0; // lowering's slot
};

struct FunctionDecl : Decl {
    FunctionDecl() : Decl(DeclKind::function) {}
    EntryStage stage = EntryStage::none; // vertex, fragment, kernel
    TypeSyntax* returnTypeSyntax = nullptr;
    TypeRef returnType = nullptr; // sema
    AddressSpace returnSpace = AddressSpace::thread;
    std::span<VarDecl*> parameters;
    CompoundStmt* body = nullptr; // null: a prototype; sema sets definition
    FunctionDecl* definition = nullptr;
    bool isStatic = false;
    bool isInline = false;
    bool isConstexpr = false;
    bool isConstMember = false;
    SpaceSyntax thisSpace = SpaceSyntax::none; // "float f() const constant"
    bool isConstructor = false;
    bool isOperator = false;   // name is then the identifier "operator+", "operator()" ...
    bool isConversion = false; // operator T(): returnTypeSyntax is T
    bool isLambda = false;
    bool hasSyntaxErrors = false; // its text could not be read whole: warnings about what is missing would mislead
    bool isVariadic = false;
    bool isMutable = false;   // a lambda that may change its copies
    bool isDefaulted = false; // "= default"
    bool isDeleted = false;   // "= delete"
    bool isFriend = false;    // declared in a struct, but no member of it
    bool isEntry = false;     // an instance that was made an entry point
    bool isGeneric = false;   // a lambda with auto parameters: they are its template parameters
    Name* scope = nullptr;    // "float S::f()": S, and f is the name
    std::span<TemplateParameterDecl*> outerParameters; // of S<T>, in a definition outside of it
    const Identifier* packName = nullptr;              // in an instance: of the parameters that were a pack
    struct MemberInit {
        const Identifier* name = nullptr;
        TypeSyntax* base = nullptr; // when it is written as a type, "Base<T>(x)"
        std::span<Expr*> arguments;
        bool isBraced = false;
        VarDecl* field = nullptr;
        Expr* value = nullptr;
        SourceLocation location;
    };
    std::span<MemberInit> memberInits;
    StructDecl* owner = nullptr; // the struct of a member function
    // templates
    std::span<TemplateParameterDecl*> templateParameters; // empty: not a template
    bool isSpecialization = false;                        // template<> float one<float>()
    std::span<TemplateArgument> specializationArguments;
    FunctionDecl* instanceOf = nullptr; // sema: an instance of that template
    std::span<TemplateArgument> instanceArguments;
    bool isResolved = false; // sema has been through signature and body
    bool isReferenced = false;
    std::uint32_t loweringId = 0;
    SourceLocation end; // the closing brace
};

struct StructDecl : Decl {
    StructDecl() : Decl(DeclKind::struct_) {}
    bool isClass = false;
    bool isUnion = false;
    bool isDefinition = false;
    bool isComplete = false; // sema: members resolved, layout known
    bool isLambdaClosure = false;
    std::uint32_t packing = 0; // "#pragma pack": the most that a member is aligned to; 0: not bounded
    std::span<Decl*> members;  // in source order: fields, functions, nested types, static constants
    std::span<TypeSyntax*> bases;
    // sema:
    std::span<VarDecl*> fields;          // in layout order; a struct without any has one byte without a name
    std::span<VarDecl*> inherited;       // what its names reach through: base classes (empty ones are no fields) and
                                         // anonymous members
    Record* record = nullptr;            // the layout that its type has
    bool hasDefaultInitializers = false; // of a member, or of a member's members
    TypeRef type = nullptr;
    StructDecl* definition = nullptr;
    std::span<TemplateParameterDecl*> templateParameters;
    bool isSpecialization = false;
    std::span<TemplateArgument> specializationArguments;
    StructDecl* instanceOf = nullptr;
    std::span<TemplateArgument> instanceArguments;
    // What the instance was made from: the template's parameters, or those of a partial specialisation.
    std::span<TemplateParameterDecl*> patternParameters;
    std::span<TemplateArgument> patternArguments;
};

struct EnumeratorDecl : Decl {
    EnumeratorDecl() : Decl(DeclKind::enumerator) {}
    Expr* valueExpr = nullptr;
    std::int64_t value = 0; // sema
    EnumDecl* owner = nullptr;
};
struct EnumDecl : Decl {
    EnumDecl() : Decl(DeclKind::enum_) {}
    bool isScoped = false; // enum class
    TypeSyntax* underlying = nullptr;
    std::span<EnumeratorDecl*> enumerators;
    TypeRef type = nullptr; // sema
};
struct TypeAliasDecl : Decl { // typedef and using X = ...
    TypeAliasDecl() : Decl(DeclKind::typeAlias) {}
    TypeSyntax* aliased = nullptr;
    std::span<TemplateParameterDecl*> templateParameters;
    TypeRef type = nullptr;      // sema
    std::uint32_t alignment = 0; // sema: that __attribute__((aligned)) gives to what the name declares; 0: the type's
};
struct NamespaceDecl : Decl {
    NamespaceDecl() : Decl(DeclKind::namespace_) {}
    bool isInline = false;
    std::span<Decl*> members;
};
struct NamespaceAliasDecl : Decl { // namespace a = b::c;
    NamespaceAliasDecl() : Decl(DeclKind::namespaceAlias) {}
    Name target;
};
// "template struct S<int>;", "template float f<float>(float);" or "template kernel decltype(k<int>) k<int>;"
struct InstantiationDecl : Decl {
    InstantiationDecl() : Decl(DeclKind::instantiation) {}
    TypeSyntax* type = nullptr;
    FunctionDecl* function = nullptr;
    bool isByName = false; // the third form: the function's parameters are not repeated
};
struct UsingDecl : Decl { // using a::b;
    UsingDecl() : Decl(DeclKind::using_) {}
    Name target;
};
struct UsingNamespaceDecl : Decl {
    UsingNamespaceDecl() : Decl(DeclKind::usingNamespace) {}
    Name target;
};
struct StaticAssertDecl : Decl {
    StaticAssertDecl() : Decl(DeclKind::staticAssert) {}
    Expr* condition = nullptr;
    std::string_view message;
};
struct EmptyDecl : Decl {
    EmptyDecl() : Decl(DeclKind::empty) {}
};

struct TranslationUnit {
    std::span<Decl*> declarations;
    // sema, for lowering:
    std::span<FunctionDecl*> entryPoints; // definitions with a stage and without errors, in source order
    std::span<StructDecl*> structs;       // every complete struct, in source order
};

} // namespace msl
