// The working state of semantic analysis over one translation unit, shared by the Sema*.cpp files, each of which holds
// one subject. Every expression function takes a node as the parser left it and returns the node that stands in its
// place, typed; a fault is reported once, where it is found, and the node becomes one of error type, which silences
// everything built on it. One object per compile, on one thread.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/constant/Scalar.h"
#include "MSL/lex/Identifier.h"
#include "MSL/sema/MemberIndex.h"
#include "MSL/sema/Scopes.h"
#include "MSL/source/Arena.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/WorkLimit.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace msl {

// ------------------------------------------------------------------------------------------------ small value types

// A type together with what belongs to the variable that is declared with it.
struct DeclaredType {
    TypeRef type = nullptr;
    AddressSpace space = AddressSpace::thread;
    bool hasSpace = false;
    bool isConst = false;
    std::uint32_t alignment = 0; // that a typedef asks for; 0: the type's
};

// What an expression is wanted for: decides the wording when it does not fit.
enum class Purpose : std::uint8_t { variable, parameter, returnValue, member, arrayElement, assignment, condition };

// How good an implicit conversion is, best first.
enum class ConversionRank : std::uint8_t { exact, qualification, promotion, conversion, splat, userDefined, none };

// A number known while compiling, or nothing.
using ConstantValue = std::optional<constant::Scalar>;

// Why an expression that was to be computed while compiling has no value, where that is worth telling.
struct ConstantFault {
    SourceLocation at; // none: the whole expression
    std::string text;  // empty: it is just not constant
    bool isLimit = false;
    struct Caller {
        SourceLocation at;
        std::string text; // "squared(100000)"
    };
    std::vector<Caller> callers; // of the functions that it happened in, the innermost first
};

// What a name was found to mean.
struct NameMeaning {
    enum class Kind : std::uint8_t {
        nothing,
        declaration,     // one that is no function: decl
        functions,       // overloads, possibly with a library function beside them
        builtin,         // only a library function
        libraryConstant, // an enumerator of the library, such as mem_flags::mem_device
        failed,          // reported already
    } kind = Kind::nothing;
    Decl* decl = nullptr;
    std::span<FunctionDecl*> functions;
    const BuiltinFunction* builtin = nullptr;
    Precision precision = Precision::standard;
    bool isCorrected = false; // not what was written but what was probably meant
    std::int64_t constant = 0;
    TypeRef constantType = nullptr;
};

struct NamespaceInfo {
    NamespaceDecl* first = nullptr;
    std::vector<Decl*> members;
};

// One function that might be called.
struct Candidate {
    FunctionDecl* function = nullptr;         // or
    const BuiltinFunction* builtin = nullptr; // with
    TypeRef builtinType = nullptr;            // the type that stands for its T
    std::span<ConversionRank> ranks;
    bool isViable = false;
    bool isAmbiguousBuiltin = false;
    // why not:
    enum class Failure : std::uint8_t { none, argumentCount, conversion, deduction, object } failure = Failure::none;
    unsigned failedArgument = 0;
};

// ------------------------------------------------------------------------------------------------------- the analyzer

class Analyzer {
  public:
    Analyzer(TranslationUnit& unit, TypeTable& types, IdentifierTable& identifiers, Arena& arena,
             Diagnostics& diagnostics, WorkLimit& limit);
    ~Analyzer();
    void run();

  private:
    // ---- SemaDecl.cpp, SemaVariable.cpp, SemaFunction.cpp, SemaFlow.cpp: declarations
    void declaration(Decl* decl);
    void declarations(std::span<Decl*> decls);
    void variable(VarDecl* var);
    void finishVariable(VarDecl* var, const DeclaredType& declared);
    void initializeVariable(VarDecl* var);
    void samplerVariable(VarDecl* var);
    Expr* samplerValue(Expr* expr, std::span<Expr*> settings);
    void functionDeclaration(FunctionDecl* function);
    void functionSignature(FunctionDecl* function);
    void functionBody(FunctionDecl* function);
    void resolveBodyNow(FunctionDecl* function);
    void typeAlias(TypeAliasDecl* alias);
    void enumeration(EnumDecl* decl);
    EnumDecl* announced(const EnumDecl* decl, TypeRef underlying) const;
    void namespaceBlock(NamespaceDecl* block);
    void usingDeclaration(UsingDecl* decl);
    void usingDirective(UsingNamespaceDecl* decl);
    void staticAssertion(StaticAssertDecl* decl);
    bool declare(Decl* decl); // false: a redefinition, reported
    bool sameSignature(const FunctionDecl* a, const FunctionDecl* b) const;
    void checkMissingReturn(FunctionDecl* function);
    void warnUnused();
    void warnUnusedResult(const Expr* expr);
    void enterContext(Decl* context); // re-opens the scopes of a namespace, struct or instance
    NamespaceInfo* namespaceOf(NamespaceDecl* block);

    void namespaceAlias(NamespaceAliasDecl* decl);

    // ---- SemaLambda.cpp: closures and what they capture
    struct LambdaScope;
    Expr* lambda(Lambda* expr);
    bool needsCapture(const VarDecl* var) const;
    Expr* captured(NameRef* ref, VarDecl* var);
    VarDecl* capture(LambdaScope& scope, VarDecl* var, const Identifier* name, bool byReference, SourceLocation at);
    VarDecl* addCapture(LambdaScope& scope, const Identifier* name, TypeRef type, Expr* value, SourceLocation at);
    void captureNames(LambdaScope& scope, const FunctionDecl& function);
    VarDecl* capturedThis(LambdaScope& scope, SourceLocation at);
    Expr* closureMember(VarDecl* field, SourceLocation at);
    Expr* ownThis(SourceLocation at); // the object of the function itself: a closure's, in a lambda
    StructDecl* objectOwner() const;  // the struct that "this" points to here, or null
    void enterClosure(const StructDecl* closure);

    // ---- SemaClass.cpp: base classes, anonymous members, definitions outside of a struct, constructors
    struct MemberPath {
        Decl* found = nullptr;
        std::vector<VarDecl*> steps; // fields to go through: bases and anonymous members
    };
    MemberPath findPath(const StructDecl* decl, const Identifier* name);
    bool findSteps(const StructDecl* from, const StructDecl* to, std::vector<VarDecl*>& steps);
    bool derivesFrom(TypeRef derived, TypeRef base);
    Expr* fieldOf(Expr* object, VarDecl* field, SourceLocation at); // an lvalue stays one; a pointer is followed
    Expr* throughFields(Expr* object, std::span<VarDecl* const> steps, SourceLocation at);
    Expr* toBase(Expr* object, TypeRef base);       // an object, or a pointer to one, as its base; null: it is none
    Expr* toDerived(Expr* object, TypeRef derived); // the other way, for static_cast
    void baseClasses(StructDecl* decl, std::vector<VarDecl*>& fields, std::vector<VarDecl*>& inherited);
    void fillEmpty(StructDecl* decl);
    void openBaseScopes(StructDecl* decl);
    bool outerDefinition(FunctionDecl* definition);
    bool outerDefinition(VarDecl* definition);
    Decl* scopeOfDefinition(Name& scope, bool isTemplate);
    static void attach(FunctionDecl* member, FunctionDecl* definition);
    Expr* defaultInitializer(TypeRef type, SourceLocation at); // null: nothing to run
    void friendFunction(StructDecl* decl, FunctionDecl* function);
    void memberInitializers(FunctionDecl* function);

    // ---- SemaPack.cpp: parameter packs
    PackDecl* packNamed(const Identifier* name) const;
    bool expandPattern(std::span<const Identifier* const> names, SourceLocation at, std::vector<PackDecl*>& packs,
                       std::size_t& count);
    std::span<Expr*> expandPacks(std::span<Expr*> list);
    Expr* fold(Fold* expr);
    void expandPacks(InitList* list);
    std::span<TemplateArgument> expandPacks(std::span<TemplateArgument> list);
    void openElement(std::span<PackDecl* const> packs, std::size_t index);
    void expandParameters(FunctionDecl* instance, std::span<TemplateParameterDecl*> parameters,
                          std::span<TemplateArgument> arguments);

    // ---- SemaTraits.cpp: <metal_type_traits>
    TypeRef traitType(Name& name);         // "is_same<A, B>", "enable_if_t<...>"; null: it is no trait
    Expr* traitValue(const NameRef* name); // "is_same_v<A, B>"; null: it is no trait
    std::optional<std::int64_t> evaluateTrait(std::string_view trait, Name& name);
    TypeRef integralConstant(TypeRef type, std::int64_t value);
    TypeRef holderOf(TypeRef type); // a struct with the member "type"

    // ---- SemaStruct.cpp
    void structure(StructDecl* decl);
    void completeStructure(StructDecl* decl);
    void field(StructDecl* owner, VarDecl* var, std::vector<VarDecl*>& fields);
    static std::string declaredName(const StructDecl* decl); // as messages print it, with scopes and arguments
    static std::string declaredName(const EnumDecl* decl);
    void giveType(StructDecl* decl);

    // ---- SemaLayout.cpp
    // What the attributes of a declaration ask for; no location, or 0, where they do not.
    struct LayoutRequest {
        SourceLocation packed;
        std::uint32_t alignment = 0; // the greatest
        std::uint32_t strict = 0;    // the greatest by alignas
        SourceLocation strictAt;
    };
    LayoutRequest layoutRequest(const Decl* decl);
    void checkStrictAlignment(const LayoutRequest& request, std::uint32_t least, TypeRef type);
    void checkLayoutAttributes(const Decl* decl);
    void alignAlias(TypeAliasDecl* alias);
    void refuseLayoutAttributes(const Decl* decl, std::string_view what);
    std::uint32_t aliasAlignment(Name& name);
    std::uint32_t memberAlignment(const StructDecl* decl, bool isPacked, const VarDecl* member, std::uint32_t natural);
    void takeLayoutAttributes(StructDecl* to, const StructDecl* definition);
    void layOut(StructDecl* decl);
    void enterStructure(StructDecl* decl);
    VarDecl* findField(const StructDecl* decl, const Identifier* name);
    Decl* findMember(const StructDecl* decl, const Identifier* name); // field, static, type or first function
    std::span<FunctionDecl*> findMethods(const StructDecl* decl, const Identifier* name);
    std::span<FunctionDecl*> constructorsOf(const StructDecl* decl);
    bool isComplete(TypeRef type) const;
    bool requireComplete(TypeRef type, SourceLocation at, std::string_view what);

    // ---- SemaType.cpp: the syntax of types, and names of types
    DeclaredType resolveType(TypeSyntax* syntax, bool isParameter = false);
    TypeRef resolveTypeOnly(TypeSyntax* syntax) { return resolveType(syntax).type; }
    TypeRef namedType(Name& name, bool reportMissing);
    TypeRef builtinTemplateType(Name& name);
    TypeRef typeOfDecl(Decl* decl, Name& name);
    TypeRef templateArgumentType(TemplateArgument& argument, bool report);
    std::optional<std::int64_t> templateArgumentValue(TemplateArgument& argument, SourceLocation at,
                                                      bool report = true);
    std::optional<TypeRef> tryTypeName(Name& name); // the type that a name means, if it means one
    TypeRef reportUnknownType(const Name& name);    // the type of the correction, or the error type

    // ---- NameLookup.cpp
    static constexpr std::size_t anyCount = ~std::size_t{0};
    const Decl* declaredLater(const Identifier* name) const;
    NameMeaning lookUp(Name& name, bool forCall, std::size_t argumentCount = anyCount);
    NameMeaning lookUpUnqualified(const Identifier* identifier);
    NameMeaning lookUpQualified(Name& name);
    NameMeaning meaningOf(ScopeEntry* entry);
    NameMeaning meaningInStruct(const StructDecl* decl, const Identifier* identifier);
    NameMeaning meaningOfMembers(std::span<Decl* const> members, const Identifier* identifier);
    const BuiltinFunction* builtinNamed(const Identifier* identifier);
    std::span<FunctionDecl*> operatorFunctions(std::string_view spelling, std::span<Expr* const> operands);
    NameMeaning lookUpWithArguments(const Identifier* identifier, std::span<Expr* const> given);

    // ---- Typo.cpp
    enum class TypoKind : std::uint8_t { expression, call, type };
    // What a name of a neighbouring shading language is called here; empty when it is none.
    static std::string_view nameHere(std::string_view foreign, TypoKind kind);
    std::string_view closestName(std::string_view typo, TypoKind kind, Decl** decl,
                                 std::size_t argumentCount = anyCount);
    std::string_view closestOf(std::string_view typo, std::span<const std::string_view> names) const;

    // ---- SemaStmt.cpp
    Stmt* statement(Stmt* stmt);
    void compound(CompoundStmt* stmt, bool opensScope = true);
    void ifStatement(IfStmt* stmt);
    void forStatement(ForStmt* stmt);
    void switchStatement(SwitchStmt* stmt);
    void caseLabel(CaseStmt* stmt);
    void returnStatement(ReturnStmt* stmt);
    Expr* condition(Expr* expr);

    // ---- SemaRange.cpp
    Stmt* rangeFor(RangeForStmt* stmt); // over an object of a class it is another statement
    Stmt* loopOver(RangeForStmt* stmt);
    Expr* arrayOfList(InitList* list);

    // ---- SemaList.cpp
    StructDecl* listTemplate() const;
    TypeRef listElement(TypeRef type) const;
    bool isListName(const Name& name) const;
    TypeRef listType(Name& name);
    ConversionRank rankList(InitList* list, TypeRef element);
    Expr* listValue(TypeRef type, InitList* list, SourceLocation at);
    Expr* constructFromList(TypeRef type, InitList* list, SourceLocation at);

    // ---- SemaExpr.cpp, SemaMember.cpp, SemaUnary.cpp
    Expr* expression(Expr* expr); // typed, an lvalue stays one
    Expr* value(Expr* expr);      // typed and read: an rvalue; arrays become pointers
    Expr* load(Expr* typed);      // lvalue to rvalue of a node that is typed already
    Expr* discarded(Expr* expr);  // for its effects only
    Expr* typedExpression(Expr* expr);
    Expr* literal(IntLiteral* literal);
    Expr* nameReference(NameRef* ref);
    Expr* variableReference(NameRef* ref, VarDecl* var);
    Expr* implicitThis(SourceLocation at);
    Expr* member(Member* expr);
    Expr* structMember(Member* expr, TypeRef structType);
    Expr* swizzle(Member* expr);
    Expr* index(Index* expr);
    Expr* unary(Unary* expr);
    Expr* cast(Cast* expr);
    Expr* sizeOf(SizeOf* expr);
    bool checkAssignable(Expr* lvalue, SourceLocation at); // reports why it cannot be written
    void reportNotLvalue(Expr* expr, SourceLocation at);

    // ---- SemaBinary.cpp
    Expr* binary(Binary* expr);
    Expr* arithmetic(Binary* expr);
    Expr* comparison(Binary* expr);
    Expr* shift(Binary* expr);
    Expr* logical(Binary* expr);
    Expr* assignment(Binary* expr);
    Expr* pointerArithmetic(Binary* expr);
    Expr* matrixProduct(Binary* expr);
    Expr* overloadedOperator(BinaryOp op, Expr* left, Expr* right, SourceLocation at, bool* handled);
    Expr* overloadedUnary(Unary* expr, bool* handled);
    Expr* conditional(Conditional* expr);
    Expr* decayed(Expr* side); // an array read as a whole, as the pointer that it decays to
    Expr* invalidOperands(Binary* expr);
    TypeRef commonType(TypeRef a, TypeRef b) const; // null when there is none
    TypeRef commonScalar(TypeRef a, TypeRef b) const;
    TypeRef promoted(TypeRef type) const;
    Expr* toArithmetic(Expr* rvalue); // enums to integers, packed vectors to vectors

    // ---- Convert.cpp
    ConversionRank rankConversion(Expr* from, TypeRef to); // by value
    ConversionRank rankTypes(TypeRef from, TypeRef to);
    ConversionRank rankArgument(Expr* argument, TypeRef parameterType);        // to a parameter, references too
    Expr* convert(Expr* from, TypeRef to, Purpose purpose, SourceLocation at); // implicit; reports
    Expr* convertArgument(Expr* argument, TypeRef parameterType, SourceLocation at);
    Expr* bindReference(Expr* from, TypeRef referenceType, Purpose purpose, SourceLocation at);
    Expr* tryConvert(Expr* from, TypeRef to); // null when there is no conversion
    void warnOfNarrowing(const Expr* from, TypeRef to);
    Expr* explicitConvert(Expr* from, TypeRef to); // as a cast does; null when there is none
    Expr* toBool(Expr* rvalue);
    FunctionDecl* conversionFunction(const Expr* object, TypeRef to);
    Expr* makeCast(CastKind kind, Expr* operand, TypeRef to);
    void reportConversion(Expr* from, TypeRef to, Purpose purpose, SourceLocation at);

    // ---- SemaInit.cpp
    Expr* initialize(TypeRef to, Expr* initializer, Purpose purpose, SourceLocation at);
    Expr* initializeFromList(TypeRef to, InitList* list, Purpose purpose, bool isBracedConstruct = false);
    struct InitCursor {
        std::span<Initializer> items;
        std::size_t next = 0;
        std::size_t placed = std::size_t(-1); // the item whose place an enclosing aggregate has found

        bool isDesignated() const {
            return next != placed && (items[next].designator != nullptr || items[next].indexDesignator != nullptr);
        }
    };
    Expr* initializeAggregate(TypeRef to, InitCursor& cursor, bool ownsList, SourceLocation at);
    Expr* initializeElement(TypeRef to, InitCursor& cursor, Purpose purpose);
    std::uint64_t countArrayElements(TypeRef element, InitList* list);
    Expr* construct(Construct* expr);
    Expr* constructType(TypeRef type, std::span<Expr*> arguments, bool isBraced, Construct* node, SourceLocation at);
    Expr* constructVector(TypeRef type, std::span<Expr*> arguments, Construct* node, SourceLocation at);
    Expr* constructMatrix(TypeRef type, std::span<Expr*> arguments, Construct* node, SourceLocation at);
    Expr* callConstructor(TypeRef type, std::span<Expr*> arguments, bool isBraced, Construct* node, SourceLocation at);
    Expr* zeroValue(TypeRef type, SourceLocation at);
    bool isAggregate(TypeRef type) const;

    // ---- SemaCall.cpp and SemaOverload.cpp
    Expr* call(Call* expr);
    Expr* callMember(Call* expr, Member* callee);
    Expr* functionConstantDefined(Call* expr);
    static bool isLog(Member* callee);
    Expr* logCall(Call* expr);
    Expr* voteMethod(Call* expr, Member* callee);
    Expr* callFunctions(Call* expr, NameMeaning& meaning, Name& name);
    Expr* callObject(Call* expr);
    Expr* arrayMethod(Call* expr, Member* callee, TypeRef type);
    Expr* finishCall(Call* expr, FunctionDecl* function);
    Expr* finishBuiltinCall(Call* expr, const BuiltinFunction& builtin, TypeRef t, Precision precision);
    Expr* makeCall(FunctionDecl* function, std::span<Expr*> arguments, SourceLocation at);
    bool arguments(Call* expr); // types them; false when one is in error
    Candidate consider(FunctionDecl* function, std::span<Expr*> arguments,
                       std::span<TemplateArgument> explicitArguments);
    Candidate considerBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments);
    int compare(const Candidate& a, const Candidate& b, std::span<Expr*> arguments) const; // <0: a is better
    const Candidate* best(std::span<Candidate> candidates, std::span<Expr*> arguments, bool* isAmbiguous) const;
    // A member function's object: drops candidates that it does not suit, and chooses among those that suit it best.
    const Candidate* bestMethod(std::vector<Candidate>& candidates, std::span<Expr*> arguments, AddressSpace space,
                                bool isConst, bool* isAmbiguous) const;
    void reportNoMatch(SourceLocation at, std::string_view what, std::string_view name, std::span<Candidate> candidates,
                       std::span<Expr*> arguments);
    void noteBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments, SourceLocation at);
    void noteCandidate(const Candidate& candidate, std::span<Expr*> arguments, SourceLocation at);
    TypeRef deduceBuiltin(const BuiltinFunction& builtin, std::span<Expr*> arguments, bool* isAmbiguous);
    Expr* makeBuiltinCall(BuiltinId id, std::span<Expr* const> arguments, TypeRef type, SourceLocation at);

    // ---- SemaTexture.cpp: methods of textures, options and settings of samplers
    Expr* textureMethod(Call* expr, Member* callee);
    Expr* nullTest(Call* expr, const Name& name, bool* handled);
    Expr* sampleOption(Call* expr, std::string_view name, bool* handled);

    // ---- SemaDeduce.cpp, SemaTemplate.cpp
    struct Bindings {
        std::span<TemplateParameterDecl*> parameters;
        std::span<TemplateArgument> arguments;
        std::vector<bool> isBound;
        std::vector<bool> isExplicit;
    };
    FunctionDecl* instantiate(FunctionDecl* pattern, std::span<TemplateArgument> explicitArguments,
                              std::span<Expr*> arguments);
    TypeRef instantiateStructure(StructDecl* pattern, Name& name);
    TypeRef instantiateAlias(TypeAliasDecl* pattern, Name& name);
    VarDecl* instantiateVariable(VarDecl* pattern, Name& name);
    void explicitInstantiation(InstantiationDecl* decl);
    FunctionDecl* instanceWith(FunctionDecl* pattern, std::span<TemplateArgument> arguments);
    bool deduceList(std::span<const TemplateArgument> patterns, std::span<const TemplateArgument> actual,
                    Bindings& bindings);
    bool deducePack(const VarDecl* parameter, std::span<Expr*> given, Bindings& bindings);
    bool matchPartial(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns,
                      std::span<TemplateArgument> actual, Bindings& bindings);
    int specificity(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> patterns) const;
    Bindings makeBindings(std::span<TemplateParameterDecl*> parameters);
    bool bind(Bindings& bindings, std::size_t index, TypeRef type, std::int64_t value);
    static bool bindFunction(Bindings& bindings, std::size_t index, FunctionDecl* function);
    bool bindExplicit(Bindings& bindings, std::span<TemplateArgument> given, Decl* parent, SourceLocation at,
                      bool report);
    bool deduce(const TypeSyntax* pattern, TypeRef from, Bindings& bindings);
    bool deduceFromList(const TypeSyntax* pattern, InitList* list, Bindings& bindings);
    bool deduceArgument(const TemplateArgument& pattern, const TemplateArgument& actual, Bindings& bindings);
    bool completeBindings(Bindings& bindings, Decl* parent, SourceLocation at, bool report);
    void pushBindings(std::span<TemplateParameterDecl*> parameters, std::span<TemplateArgument> arguments);
    // SemaFunctionArgument.cpp
    FunctionDecl* templateArgumentFunction(TemplateArgument& argument, std::size_t index, const Bindings& bindings,
                                           Decl* parent, SourceLocation at, bool report);
    bool namesFunction(TemplateArgument& pattern, const FunctionDecl* function);
    Expr* numericLimit(Name& name, bool isCalled);
    Expr* floatingLimit(const Name& name, TypeRef type, bool isCalled);
    Expr* integerLimit(const Name& name, TypeRef type, bool isCalled);
    Expr* interpolantMethod(Call* expr, Member* callee);
    static bool sameArguments(std::span<TemplateArgument> a, std::span<TemplateArgument> b);

    // ---- ConstEval.cpp: values known while compiling. ConstRun.h has what computes them.
    struct ConstantState;
    class ConstantRun;
    ConstantValue evaluate(Expr* typed); // of a scalar or an enumeration; anything else has none
    bool isFaulty(Expr* typed);          // it is computed from constants, in a way that the language does not define
    void noteFault(SourceLocation at);   // why what was evaluated last has no value, below an error that says so
    std::optional<std::int64_t> integerConstant(Expr* unresolved, std::string_view what); // types it; reports

    // ---- RunTimeDependence.cpp
    bool dependsOnRunTime(const Expr* expr, unsigned depth = 0) const;

    // ---- SemaEntry.cpp
    void entryPoint(FunctionDecl* function);
    void checkAttributes(Decl* decl);

    // ---- helpers
    void error(SourceLocation at, std::string message) { diagnostics_.error(at, std::move(message)); }
    // With "; did you mean" where there is a better name than the one written at the place.
    void errorOfName(SourceLocation at, std::string message, std::string_view written, std::string_view meant);
    void warning(SourceLocation at, std::string message, WarningGroup group = WarningGroup::other) {
        diagnostics_.warning(at, std::move(message), group);
    }
    void note(SourceLocation at, std::string message) { diagnostics_.note(at, std::move(message)); }
    void unsupported(SourceLocation at, std::string_view what);
    Expr* errorAt(const Expr* expr); // an ErrorExpr in its place
    Expr* errorAt(SourceLocation at);
    IntLiteral* makeInteger(std::int64_t value, TypeRef type, SourceLocation at);
    bool tooDeep(SourceLocation at);

    template <typename T>
    T* make(const Expr* like) {
        T* node = arena_.make<T>();
        node->location = like->location;
        node->begin = like->begin;
        return node;
    }

    struct DepthGuard {
        explicit DepthGuard(unsigned& depth) : depth_(depth) { ++depth_; }
        ~DepthGuard() { --depth_; }
        DepthGuard(const DepthGuard&) = delete;
        DepthGuard& operator=(const DepthGuard&) = delete;
        unsigned& depth_;
    };
    static constexpr unsigned maxExpressionDepth = 1000;
    static constexpr unsigned maxInstantiationDepth = 64;
    static constexpr unsigned maxInstances = 4096;
    static constexpr std::uint64_t maxObjectSize = std::uint64_t{1} << 30;
    static constexpr std::uint64_t maxLocalSize = 65536; // of a variable in thread space
    static constexpr unsigned maxTypeNesting = 64;
    static constexpr unsigned maxDimensions = 16;

    // The function whose body is being resolved.
    struct FunctionContext {
        FunctionDecl* function = nullptr;
        TypeRef returnType = nullptr; // null: to be deduced
        unsigned loops = 0;
        unsigned switches = 0;
        SwitchStmt* innermostSwitch = nullptr;
        LambdaScope* lambda = nullptr; // the function is the call operator of this one
        unsigned errorsAtStart = 0;
    };

    TranslationUnit& unit_;
    TypeTable& types_;
    IdentifierTable& identifiers_;
    Arena& arena_;
    Diagnostics& diagnostics_;
    WorkLimit& limit_;
    Scopes scopes_;
    MemberIndex members_;

    FunctionContext context_;
    StructDecl* currentStruct_ = nullptr;
    Decl* currentParent_ = nullptr; // namespace, struct or function that declarations belong to
    bool metalIsVisible_ = false;   // "using namespace metal"
    Precision visiblePrecision_ = Precision::standard;
    bool hasAlignedAliases_ = false; // some typedef has an alignment of its own
    unsigned depth_ = 0;
    bool depthReported_ = false;
    unsigned instantiationDepth_ = 0;
    unsigned instanceCount_ = 0;
    std::unique_ptr<ConstantState> constants_;
    bool workReported_ = false;

    std::vector<FunctionDecl*> pendingBodies_; // of instances and of members, resolved after the current declaration
    std::vector<FunctionDecl*> entryPoints_;
    std::vector<StructDecl*> structs_;
    std::vector<VarDecl*> localsToWarnAbout_;
    std::unordered_map<const NamespaceDecl*, NamespaceInfo*> namespaces_;
    std::vector<std::unique_ptr<NamespaceInfo>> ownedNamespaces_;
    std::unordered_map<const FunctionDecl*, std::vector<FunctionDecl*>> functionInstances_;
    std::unordered_map<const StructDecl*, std::vector<StructDecl*>> structInstances_;
    std::unordered_map<const FunctionDecl*, std::vector<FunctionDecl*>> functionSpecializations_;
    std::unordered_map<const StructDecl*, std::vector<StructDecl*>> structSpecializations_;
    std::unordered_map<const StructDecl*, std::vector<StructDecl*>> partialSpecializations_;
    std::unordered_map<const VarDecl*, std::vector<std::pair<std::span<TemplateArgument>, VarDecl*>>>
        variableInstances_;
    std::unordered_map<const VarDecl*, std::vector<VarDecl*>> variableSpecializations_;
    std::unordered_map<const StructDecl*, std::unique_ptr<LambdaScope>> lambdaScopes_;
    std::unordered_map<std::string, TypeRef> traitStructs_;
    std::vector<FunctionDecl*> friends_; // of the struct being completed
};

} // namespace msl
