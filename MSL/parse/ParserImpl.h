// The recursive-descent parser, split by subject over Parse*.cpp. One object parses one text, in one thread. A function
// that meets an error reports it once at its token, and either returns an ErrorExpr or skips to a place where reading
// on makes sense; no function fails otherwise.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Preprocessor.h"
#include "MSL/parse/NameTracker.h"
#include "MSL/parse/SmallList.h"
#include "MSL/source/WorkLimit.h"

#include <string>
#include <string_view>
#include <vector>

namespace msl {

class Parser {
  public:
    Parser(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics,
           WorkLimit& limit);
    TranslationUnit* parseUnit();

  private:
    using Declarations = SmallList<Decl*, 16>;
    using Attributes = SmallList<Attribute, 4>;
    using Expressions = SmallList<Expr*, 8>;
    using Modifiers = SmallList<TypeModifier, 4>;

    enum class Context : std::uint8_t { file, class_, local, forInit, parameter, typeId };

    struct Specifiers {
        TypeSyntax type;
        bool hasType = false;
        bool isTypedef = false;
        bool isStatic = false;
        bool isInline = false;
        bool isConstexpr = false;
        bool isInvalid = false;
        bool isFriend = false;
        EntryStage stage = EntryStage::none;
        Attributes attributes;
        SourceLocation begin;
    };
    struct Declarator {
        Modifiers modifiers;
        const Identifier* name = nullptr;
        SourceLocation location;
        bool isOperator = false;
        bool isConversion = false;
        bool isInvalid = false;
        std::span<TemplateArgument> templateArguments; // of a specialisation
        bool hasTemplateArguments = false;
        Name* scope = nullptr; // "S<T>::" before the name
        bool isPack = false;   // "T... xs"
        Attributes attributes;
    };
    struct TemplateHeader {
        std::span<TemplateParameterDecl*> parameters;
        std::span<TemplateParameterDecl*> outerParameters; // of the header before, in a definition outside of S<T>
        bool isSpecialization = false;                     // template <>
    };

    // ---- tokens (Parser.cpp)
    const Token& token() const { return tokens_[position_]; }
    TokenKind kind() const { return tokens_[position_].kind; }
    bool at(TokenKind k) const { return kind() == k; }
    bool atEnd() const { return at(TokenKind::eof) || at(TokenKind::regionEnd); }
    const Token& peek(std::size_t n) {
        while (position_ + n >= tokens_.size())
            fill();
        return tokens_[position_ + n];
    }
    SourceLocation advance() {
        const Token& now = tokens_[position_];
        SourceLocation location = now.location;
        if (now.is(TokenKind::eof)) return location;
        previousEnd_ = now.end;
        if (++position_ == tokens_.size()) fill();
        return location;
    }
    bool accept(TokenKind k) {
        if (!at(k)) return false;
        advance();
        return true;
    }
    void fill();
    void reportLimit();
    bool spend();
    void stop(); // reads nothing more: what is left of the text is eof
    SourceLocation previousEnd() const { return SourceLocation::atOffset(previousEnd_); }

    // ---- errors and recovery (Parser.cpp)
    void error(SourceLocation at, std::string message, const Correction& correction = {}); // at most one per token
    void errorHere(std::string message); // at the token, or behind the one before if that ends a line
    SourceLocation here() const;
    void note(SourceLocation at, std::string message) {
        if (reported_) diagnostics_.note(at, std::move(message));
    }
    bool expect(TokenKind k, std::string_view message);
    bool expectClosing(TokenKind k, SourceLocation open);
    void expectSemicolon(std::string_view message);
    void skipStatement();
    void skipDeclaration();
    void skipToClosing(TokenKind k, bool overSemicolons = false);
    void skipBalanced();
    void unsupported(SourceLocation at, std::string_view what);
    bool isColumnOne(const Token& token) const;
    std::uint32_t indentation(SourceLocation at) const; // columns before the first word of its line
    bool startsStatementOnNewLine();
    bool startsAssignmentOnNewLine();
    bool skipBehindExtraBrace();
    void skipIndentedBlock(SourceLocation begin, Declarations& before);

    class Nesting {
      public:
        explicit Nesting(Parser& parser) : parser_(parser), isFine_(parser.enter()) {}
        ~Nesting() { --parser_.depth_; }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;
        explicit operator bool() const { return isFine_; }

      private:
        Parser& parser_;
        bool isFine_;
    };
    bool enter();

    // ---- look-ahead without side effects (LookAhead.cpp); positions count from the present token, 0 means no
    std::size_t scanType(std::size_t from);
    std::size_t scanTemplateArguments(std::size_t from);
    std::size_t scanBalanced(std::size_t from, std::size_t limit = scanLimit);
    std::size_t scanAttributes(std::size_t from);
    bool isTypeNameAt(std::size_t from); // a possibly qualified name of a type
    bool startsDeclaration();            // at the start of a statement
    bool startsParameter(std::size_t from);
    bool startsFunctionParameters();
    bool startsFunctionDefinition(); // a whole head up to its brace

    // ---- names, types and declarators (ParseType.cpp, ParseDeclarator.cpp)
    bool parseQualifiers(Name& name);
    std::span<TemplateArgument> parseTemplateArguments();
    void parseTypeName(TypeSyntax& type);
    TypeSyntax* parseTypeId();
    bool parseSpecifier(Specifiers& specifiers, Context context); // false: the token is no specifier
    void parseSpecifiers(Specifiers& specifiers, Context context);
    bool takeLibraryEnum(Specifiers& specifiers);
    bool parseFundamental(Specifiers& specifiers);
    void parsePointers(Modifiers& modifiers, TypeSyntax& base);
    void parseArraySuffixes(Modifiers& modifiers);
    void parseDeclarator(Declarator& declarator, Specifiers& specifiers, Context context);
    void parseOperatorName(Declarator& declarator, Specifiers& specifiers);
    TypeSyntax* finishType(const Specifiers& specifiers, Declarator& declarator);
    void parseAttributes(Attributes& attributes);
    bool missesAttributeBracket();
    bool lineEndsABlock();
    void parseAttributeList(Attributes& attributes, TokenKind end, bool isGnu);

    // ---- declarations (ParseDecl.cpp, ParseTemplate.cpp, ParseFunction.cpp, ParseClass.cpp)
    void parseDeclarations(Declarations& out, Context context, TokenKind end);
    void parseDeclaration(Declarations& out, Context context);
    void requireType(Specifiers& specifiers); // reports a declaration without a type, and continues as with int
    void parseSimpleDeclaration(Declarations& out, Context context, const TemplateHeader* header = nullptr);
    bool parseDeclarators(Declarations& out, Specifiers& specifiers, Context context, const TemplateHeader* header);
    bool missesSemicolonAfterBody(const Specifiers& specifiers);
    VarDecl* parseVariable(Specifiers& specifiers, Declarator& declarator, Context context);
    void parseInitializer(VarDecl& variable, Context context);
    void parseNamespace(Declarations& out);
    void parseUsing(Declarations& out, const TemplateHeader* header);
    void parseTemplate(Declarations& out, Context context);
    void parseTemplateHeader(TemplateHeader& header);
    void parseInstantiation(Declarations& out);
    void parseFriend(Declarations& out);
    TemplateParameterDecl* parseTemplateParameter(std::uint32_t index);
    StaticAssertDecl* parseStaticAssert();
    FunctionDecl* parseFunction(Specifiers& specifiers, Declarator& declarator, Context context,
                                const TemplateHeader* header);
    void reportUnknownWord();
    void parseParameters(FunctionDecl& function);
    void parseFunctionQualifiers(FunctionDecl& function, Attributes& attributes);
    void parseMemberInits(FunctionDecl& function);
    void parseFunctionBody(FunctionDecl& function);
    StructDecl* parseStruct(Specifiers& specifiers);
    void parseAttributesBehind(Attributes& own, Specifiers& specifiers);
    void parseMembers(StructDecl& decl);
    EnumDecl* parseEnum(Specifiers& specifiers);
    bool isConstructor();
    bool startsOuterConstructor(); // "S::S(", "S<T>::S(", "S::operator "
    std::span<Attribute> join(Attributes& first, Attributes* second);

    // ---- statements (ParseStmt.cpp)
    CompoundStmt* parseCompound();
    CompoundStmt* parseCompoundAfterBrace(SourceLocation open);
    void parseStatementInto(SmallList<Stmt*, 16>& out);
    Stmt* parseStatement();
    Stmt* parseBranch(); // the statement of an if or a loop, in a scope of its own
    Stmt* parseIf();
    Stmt* parseFor();
    Stmt* parseWhile();
    Stmt* parseDo();
    Stmt* parseSwitch();
    Stmt* parseCase();
    Stmt* parseReturn();
    Stmt* parseJump();
    Stmt* parseDeclarationStatement();
    Stmt* parseExpressionStatement();
    Stmt* parseMistypedReturn();
    Expr* parseCondition(std::string_view keyword);
    DeclStmt* parseConditionDeclaration(Expr*& condition);             // "int x = f()" and the expression that reads x
    Stmt* guarded(DeclStmt* declaration, Expr* condition, Stmt* body); // { declaration if (!condition) break; body }
    bool parseOpenParen(std::string_view keyword, SourceLocation& open);
    bool missesClosingBrace();
    void reportMissingBrace(std::size_t openToken);

    // ---- expressions (ParseExpr.cpp, ParsePrimary.cpp)
    Expr* parseExpression(); // with comma
    Expr* parseAssignment();
    Expr* parseConstant() { return parseConditional(); }
    Expr* parseConditional();
    Expr* parseBinary(int minimumPrecedence);
    Expr* parseBinaryRest(Expr* left, int minimumPrecedence);
    Expr* parseFold(Expr* left, BinaryOp op, SourceLocation location);
    Expr* parseLeftFold();
    Expr* parseUnary();
    Expr* parsePostfix(Expr* operand);
    Expr* parsePrimary();
    Expr* parseParenthesized();
    Expr* parseNumber();
    Expr* parseName();
    Expr* parseConstruct(TypeSyntax* type);
    Expr* parseNamedCast();
    Expr* parseSizeOf();
    Expr* parseLambda();
    Expr* parseInitList();
    Expr* parseNestedDesignator();
    void merge(InitList& into, InitList& from);
    Expr* parseInitializerClause(); // assignment expression or braced list
    bool parseArguments(Expressions& arguments, TokenKind close, SourceLocation open);
    Expr* expansionOf(Expr* pattern); // the pattern, or what "pattern..." is
    Member* parseMember(Expr* base);
    Expr* errorExpr(SourceLocation at);
    Expr* limitHeight(Expr* expression, std::uint16_t below);

    template <typename T>
    T* make(SourceLocation location, SourceLocation begin) {
        T* node = arena_.make<T>();
        node->location = location;
        node->begin = begin;
        return node;
    }
    template <typename T>
    T* makeStmt(SourceLocation location) {
        T* node = arena_.make<T>();
        node->location = location;
        return node;
    }
    template <typename T>
    T* makeDecl(const Identifier* name, SourceLocation location) {
        T* node = arena_.make<T>();
        node->name = name;
        node->location = location;
        node->parent = parent_;
        return node;
    }

    static constexpr std::uint16_t heightLimit = 400;
    static constexpr std::size_t scanLimit = 4096; // tokens; what is longer is not what look-ahead looks for

    SourceManager& sources_;
    IdentifierTable& identifiers_;
    Arena& arena_;
    Diagnostics& diagnostics_;
    WorkLimit& limit_;
    Preprocessor preprocessor_;
    NameTracker names_;
    std::vector<Token> tokens_;
    std::size_t position_ = 0;
    std::uint32_t previousEnd_ = 0;
    std::size_t lastErrorPosition_ = ~std::size_t{0};
    bool reported_ = false; // the last error() was shown, so its notes are too
    bool isStopped_ = false;
    bool noGreater_ = false; // '>' ends the expression: inside template arguments
    unsigned depth_ = 0;
    std::uint16_t highest_ = 0; // the greatest height since a lambda or function began

    Decl* parent_ = nullptr;
    StructDecl* struct_ = nullptr; // whose members are being read
    unsigned loopDepth_ = 0;
    unsigned switchDepth_ = 0;
    bool directlyInSwitch_ = false; // in the body of a switch itself, where case labels stand
    bool closeFunction_ = false;    // a missing brace was found: every open block of the function ends here
    bool inFunction_ = false;
    bool structIsTemplate_ = false; // the struct about to be read follows template <...>
    std::size_t functionBrace_ = 0; // token of the opening brace of the function being read
    std::uint32_t functionIndentation_ = 0;
    std::uint32_t functionFile_ = 0;
    bool bodyIsIndented_ = false;
    unsigned errorsBeforeFunction_ = 0;
    // The last closing brace of a function, when its place in the line says that it closes something else.
    SourceLocation doubtfulBrace_;
    bool functionHadErrors_ = false; // the function that it ended
    std::uint32_t doubtfulIndentation_ = 0;

    const Identifier* asType_;
    const Identifier* int_;
    const Identifier* short_;
    const Identifier* char_;
    const Identifier* long_;
};

} // namespace msl
