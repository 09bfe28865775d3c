// The declarations of the tree.
#pragma once

#include "MSL/ast/Names.h"

namespace msl {

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
    // "R (*f)(A, B)": takes a function. Its parameters are those of this declaration, what it returns is valueType.
    FunctionDecl* functionType = nullptr;
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
    bool isOpenArray = false; // a field "T v[]" or "T v[0]" at the end of a struct: an array of one, but for sizeof
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

} // namespace msl
