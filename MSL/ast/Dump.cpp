#include "MSL/ast/Dump.h"

#include <cstdio>

namespace msl {

namespace {

constexpr std::string_view binaryNames[] = {
    "*", "/",  "%",  "+", "-",  "<<", ">>", "<",  ">",  "<=",  ">=",  "==", "!=", "&",  "^",
    "|", "&&", "||", "=", "*=", "/=", "%=", "+=", "-=", "<<=", ">>=", "&=", "^=", "|=", ","};
constexpr std::string_view unaryNames[] = {"+", "-", "!", "~", "++_", "--_", "_++", "_--", "*", "&"};
constexpr std::string_view spaceNames[] = {"", "thread ", "constant ", "device ", "threadgroup "};

class Dumper {
  public:
    std::string out;

    void unit(const TranslationUnit& tree) {
        for (const Decl* decl : tree.declarations)
            declaration(*decl);
    }

    void declaration(const Decl& decl) {
        line();
        attributes(decl.attributes);
        switch (decl.kind) {
        case DeclKind::variable: variable(static_cast<const VarDecl&>(decl)); break;
        case DeclKind::function: function(static_cast<const FunctionDecl&>(decl)); break;
        case DeclKind::struct_: structure(static_cast<const StructDecl&>(decl)); break;
        case DeclKind::enum_: enumeration(static_cast<const EnumDecl&>(decl)); break;
        case DeclKind::enumerator: out += text(decl.name); break;
        case DeclKind::typeAlias: {
            auto& alias = static_cast<const TypeAliasDecl&>(decl);
            templateHead(alias.templateParameters, false);
            out += "alias " + text(decl.name) + " = ";
            type(*alias.aliased);
            break;
        }
        case DeclKind::namespace_:
            out += "namespace " + text(decl.name);
            block([&] {
                for (const Decl* member : static_cast<const NamespaceDecl&>(decl).members)
                    declaration(*member);
            });
            break;
        case DeclKind::using_:
            out += "using ";
            name(static_cast<const UsingDecl&>(decl).target);
            break;
        case DeclKind::namespaceAlias: out += "namespace-alias"; break;
        case DeclKind::instantiation: out += "instantiation"; break;
        case DeclKind::pack: out += "pack"; break;
        case DeclKind::usingNamespace:
            out += "using namespace ";
            name(static_cast<const UsingNamespaceDecl&>(decl).target);
            break;
        case DeclKind::templateParameter: out += text(decl.name); break;
        case DeclKind::staticAssert: {
            auto& check = static_cast<const StaticAssertDecl&>(decl);
            out += "static_assert ";
            expression(*check.condition);
            if (!check.message.empty()) out += " \"" + std::string(check.message) + '"';
            break;
        }
        case DeclKind::empty: out += "empty"; break;
        }
    }

    void expression(const Expr& e) {
        switch (e.kind) {
        case ExprKind::intLiteral: {
            auto& literal = static_cast<const IntLiteral&>(e);
            if (literal.isNullptr) {
                out += "nullptr";
                break;
            }
            out += std::to_string(literal.value);
            if (literal.isCharacter) out += 'c';
            if (literal.isUnsigned) out += 'u';
            if (literal.isLong) out += 'l';
            break;
        }
        case ExprKind::floatLiteral: {
            char buffer[40];
            const auto& literal = static_cast<const FloatLiteral&>(e);
            std::snprintf(buffer, sizeof buffer, "%.9g", literal.value);
            out += buffer;
            out += literal.scalar == ScalarKind::half ? "h" : literal.scalar == ScalarKind::bfloat ? "bf" : "f";
            break;
        }
        case ExprKind::boolLiteral: out += static_cast<const BoolLiteral&>(e).value ? "true" : "false"; break;
        case ExprKind::stringLiteral: out += '"' + std::string(static_cast<const StringLiteral&>(e).text) + '"'; break;
        case ExprKind::nameRef: name(static_cast<const NameRef&>(e).name); break;
        case ExprKind::member: {
            auto& member = static_cast<const Member&>(e);
            expression(*member.base);
            out += member.isArrow ? "->" : ".";
            name(member.name);
            break;
        }
        case ExprKind::index:
            expression(*static_cast<const Index&>(e).base);
            out += '[';
            expression(*static_cast<const Index&>(e).index);
            out += ']';
            break;
        case ExprKind::call: {
            auto& call = static_cast<const Call&>(e);
            expression(*call.callee);
            list('(', call.arguments, ')');
            break;
        }
        case ExprKind::construct: {
            auto& construct = static_cast<const Construct&>(e);
            out += "new ";
            if (construct.typeSyntax) type(*construct.typeSyntax);
            list(construct.isBraced ? '{' : '(', construct.arguments, construct.isBraced ? '}' : ')');
            break;
        }
        case ExprKind::cast: {
            static constexpr std::string_view names[] = {"cast", "static_cast", "reinterpret_cast", "const_cast",
                                                         "as_type"};
            auto& cast = static_cast<const Cast&>(e);
            out += names[static_cast<unsigned>(cast.syntax)];
            out += '<';
            type(*cast.typeSyntax);
            out += ">(";
            expression(*cast.operand);
            out += ')';
            break;
        }
        case ExprKind::implicitCast: expression(*static_cast<const ImplicitCast&>(e).operand); break;
        case ExprKind::unary: {
            auto& unary = static_cast<const Unary&>(e);
            out += '(';
            out += unaryNames[static_cast<unsigned>(unary.op)];
            out += ' ';
            expression(*unary.operand);
            out += ')';
            break;
        }
        case ExprKind::binary: {
            auto& binary = static_cast<const Binary&>(e);
            out += '(';
            expression(*binary.left);
            out += ' ';
            out += binaryNames[static_cast<unsigned>(binary.op)];
            out += ' ';
            expression(*binary.right);
            out += ')';
            break;
        }
        case ExprKind::conditional: {
            auto& conditional = static_cast<const Conditional&>(e);
            out += '(';
            expression(*conditional.condition);
            out += " ? ";
            expression(*conditional.whenTrue);
            out += " : ";
            expression(*conditional.whenFalse);
            out += ')';
            break;
        }
        case ExprKind::initList: {
            out += '{';
            bool isFirst = true;
            for (const Initializer& initializer : static_cast<const InitList&>(e).initializers) {
                if (!isFirst) out += ", ";
                isFirst = false;
                if (initializer.designator) out += '.' + text(initializer.designator) + " = ";
                if (initializer.indexDesignator) {
                    out += '[';
                    expression(*initializer.indexDesignator);
                    out += "] = ";
                }
                expression(*initializer.value);
            }
            out += '}';
            break;
        }
        case ExprKind::sizeOf: {
            auto& size = static_cast<const SizeOf&>(e);
            out += size.isAlignOf ? "alignof(" : "sizeof(";
            if (size.typeSyntax)
                type(*size.typeSyntax);
            else
                size.operand ? expression(*size.operand) : void(out += "..." + text(size.pack));
            out += ')';
            break;
        }
        case ExprKind::fold: {
            auto& fold = static_cast<const Fold&>(e);
            out += '(';
            if (fold.left) expression(*fold.left);
            out += " fold ";
            if (fold.right) expression(*fold.right);
            out += ')';
            break;
        }
        case ExprKind::packExpansion:
            expression(*static_cast<const PackExpansion&>(e).pattern);
            out += "...";
            break;
        case ExprKind::lambda: {
            auto& lambda = static_cast<const Lambda&>(e);
            out += "lambda[";
            if (lambda.capturesAllByValue) out += '=';
            if (lambda.capturesAllByReference) out += '&';
            for (const Lambda::Capture& capture : lambda.captures) {
                out += ' ';
                out += capture.isThis ? "this" : (capture.byReference ? "&" : "") + text(capture.name);
            }
            out += ']';
            function(*lambda.function);
            break;
        }
        case ExprKind::error: out += "<error>"; break;
        }
    }

    void type(const TypeSyntax& t) {
        out += spaceNames[static_cast<unsigned>(t.space)];
        if (t.isConst) out += "const ";
        if (t.isTypename) out += "typename ";
        if (t.decltypeOf) {
            out += "decltype(";
            expression(*t.decltypeOf);
            out += ')';
        } else if (t.inlineStruct && !t.name.identifier) {
            out += "struct{}";
        } else if (t.inlineEnum && !t.name.identifier) {
            out += "enum{}";
        } else {
            name(t.name);
        }
        for (const TypeModifier& modifier : t.modifiers) {
            switch (modifier.kind) {
            case TypeModifier::Kind::pointer: out += '*'; break;
            case TypeModifier::Kind::reference: out += '&'; break;
            case TypeModifier::Kind::rvalueReference: out += "&&"; break;
            case TypeModifier::Kind::array:
                out += '[';
                if (modifier.arraySize) expression(*modifier.arraySize);
                out += ']';
                break;
            }
            if (modifier.space != SpaceSyntax::none)
                out += ' ' + std::string(spaceNames[static_cast<unsigned>(modifier.space)]);
            if (modifier.isConst) out += "const";
        }
    }

  private:
    static std::string text(const Identifier* identifier) {
        return identifier ? std::string(identifier->text) : std::string("<none>");
    }

    void line() {
        if (!out.empty() && out.back() != '\n') out += '\n';
        out.append(indent_, ' ');
    }
    template <typename Body>
    void block(Body body) {
        indent_ += 2;
        body();
        indent_ -= 2;
    }

    void name(const Name& n) {
        if (n.isGlobal) out += "::";
        if (n.qualifierType) {
            type(*n.qualifierType);
            out += "::";
        }
        for (const Identifier* qualifier : n.qualifiers)
            out += text(qualifier) + "::";
        out += text(n.identifier);
        if (n.hasTemplateArguments) templateArguments(n.templateArguments);
    }

    void templateArguments(std::span<const TemplateArgument> arguments) {
        out += '<';
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            if (i) out += ", ";
            if (arguments[i].typeSyntax)
                type(*arguments[i].typeSyntax);
            else if (arguments[i].expression)
                expression(*arguments[i].expression);
        }
        out += '>';
    }

    void templateHead(std::span<TemplateParameterDecl* const> parameters, bool isSpecialization) {
        if (parameters.empty() && !isSpecialization) return;
        out += "template<";
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const TemplateParameterDecl& p = *parameters[i];
            if (i) out += ", ";
            if (p.isType)
                out += "type";
            else
                type(*p.valueType);
            if (p.functionType) out += " function of " + std::to_string(p.functionType->parameters.size());
            out += (p.isPack ? "... " : " ") + text(p.name);
            if (p.defaultType) {
                out += " = ";
                type(*p.defaultType);
            }
            if (p.defaultValue) {
                out += " = ";
                expression(*p.defaultValue);
            }
        }
        out += "> ";
    }

    void list(char open, std::span<Expr* const> items, char close) {
        out += open;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (i) out += ", ";
            expression(*items[i]);
        }
        out += close;
    }

    void attributes(std::span<const Attribute> list_) {
        for (const Attribute& attribute : list_) {
            out += "[[";
            if (attribute.scope) out += text(attribute.scope) + "::";
            out += text(attribute.name);
            if (!attribute.arguments.empty()) list('(', attribute.arguments, ')');
            out += "]] ";
        }
    }

    void variable(const VarDecl& v) {
        if (v.isInvalid) out += "invalid ";
        if (v.isStatic) out += "static ";
        if (v.isConstexpr) out += "constexpr ";
        out += v.varKind == VarKind::field ? "field " : v.varKind == VarKind::global ? "global " : "var ";
        out += text(v.name) + ": ";
        type(*v.typeSyntax);
        if (v.isParenInit) list('(', v.parenArguments, ')');
        if (v.initializer) {
            out += v.isBraceInit ? " " : " = ";
            expression(*v.initializer);
        }
    }

    void function(const FunctionDecl& f) {
        static constexpr std::string_view stages[] = {"", "vertex ", "fragment ", "kernel "};
        templateHead(f.templateParameters, f.isSpecialization);
        if (f.isInvalid) out += "invalid ";
        if (f.isStatic) out += "static ";
        if (f.isInline) out += "inline ";
        if (f.isConstexpr) out += "constexpr ";
        out += stages[static_cast<unsigned>(f.stage)];
        out += f.isConstructor ? "constructor " : f.isConversion ? "conversion " : "function ";
        out += text(f.name);
        if (!f.specializationArguments.empty()) templateArguments(f.specializationArguments);
        out += '(';
        for (std::size_t i = 0; i < f.parameters.size(); ++i) {
            if (i) out += ", ";
            attributes(f.parameters[i]->attributes);
            out += text(f.parameters[i]->name) + ": ";
            type(*f.parameters[i]->typeSyntax);
            if (f.parameters[i]->initializer) {
                out += " = ";
                expression(*f.parameters[i]->initializer);
            }
        }
        out += f.isVariadic ? ", ...)" : ")";
        if (f.returnTypeSyntax) {
            out += " -> ";
            type(*f.returnTypeSyntax);
        }
        if (f.isConstMember) out += " const";
        if (f.thisSpace != SpaceSyntax::none) out += ' ' + std::string(spaceNames[static_cast<unsigned>(f.thisSpace)]);
        for (const FunctionDecl::MemberInit& init : f.memberInits) {
            out += " : " + text(init.name);
            list(init.isBraced ? '{' : '(', init.arguments, init.isBraced ? '}' : ')');
        }
        if (f.body) statements(*f.body);
    }

    void structure(const StructDecl& s) {
        templateHead(s.templateParameters, s.isSpecialization);
        out += s.isUnion ? "union " : s.isClass ? "class " : "struct ";
        out += text(s.name);
        if (!s.specializationArguments.empty()) templateArguments(s.specializationArguments);
        for (const TypeSyntax* base : s.bases) {
            out += " : ";
            type(*base);
        }
        if (!s.isDefinition) out += " forward";
        block([&] {
            for (const Decl* member : s.members)
                declaration(*member);
        });
    }

    void enumeration(const EnumDecl& e) {
        out += e.isScoped ? "enum class " : "enum ";
        out += text(e.name);
        if (e.underlying) {
            out += " : ";
            type(*e.underlying);
        }
        out += " {";
        for (std::size_t i = 0; i < e.enumerators.size(); ++i) {
            out += (i ? ", " : "") + text(e.enumerators[i]->name);
            if (e.enumerators[i]->valueExpr) {
                out += " = ";
                expression(*e.enumerators[i]->valueExpr);
            }
        }
        out += '}';
    }

    void statements(const CompoundStmt& compound) {
        block([&] {
            for (const Stmt* statement_ : compound.statements)
                statement(*statement_);
        });
    }

    void branch(const Stmt* statement_) {
        block([&] { statement(*statement_); });
    }

    void statement(const Stmt& s) {
        if (s.kind == StmtKind::declaration) {
            for (const Decl* decl : static_cast<const DeclStmt&>(s).declarations)
                declaration(*decl);
            return;
        }
        line();
        switch (s.kind) {
        case StmtKind::compound:
            out += "block";
            statements(static_cast<const CompoundStmt&>(s));
            break;
        case StmtKind::declaration: break;
        case StmtKind::expression: expression(*static_cast<const ExprStmt&>(s).expression); break;
        case StmtKind::if_: {
            auto& i = static_cast<const IfStmt&>(s);
            out += i.isConstexpr ? "if constexpr " : "if ";
            expression(*i.condition);
            if (i.init) branch(i.init);
            branch(i.thenBranch);
            if (i.elseBranch) {
                line();
                out += "else";
                branch(i.elseBranch);
            }
            break;
        }
        case StmtKind::for_: {
            auto& f = static_cast<const ForStmt&>(s);
            out += "for ";
            if (f.condition) expression(*f.condition);
            out += " step ";
            if (f.step) expression(*f.step);
            if (f.init) branch(f.init);
            line();
            out += "do";
            if (f.body) branch(f.body);
            break;
        }
        case StmtKind::rangeFor: {
            auto& f = static_cast<const RangeForStmt&>(s);
            out += "for " + text(f.variable->name) + ": ";
            type(*f.variable->typeSyntax);
            out += " in ";
            expression(*f.range);
            branch(f.body);
            break;
        }
        case StmtKind::while_:
            out += "while ";
            expression(*static_cast<const WhileStmt&>(s).condition);
            branch(static_cast<const WhileStmt&>(s).body);
            break;
        case StmtKind::doWhile:
            out += "do-while ";
            expression(*static_cast<const DoWhileStmt&>(s).condition);
            branch(static_cast<const DoWhileStmt&>(s).body);
            break;
        case StmtKind::switch_:
            out += "switch ";
            expression(*static_cast<const SwitchStmt&>(s).value);
            statements(*static_cast<const SwitchStmt&>(s).body);
            break;
        case StmtKind::case_:
            if (const Expr* value = static_cast<const CaseStmt&>(s).value) {
                out += "case ";
                expression(*value);
            } else {
                out += "default";
            }
            break;
        case StmtKind::break_: out += "break"; break;
        case StmtKind::continue_: out += "continue"; break;
        case StmtKind::null: out += "null"; break;
        case StmtKind::return_:
            out += "return ";
            if (const Expr* value = static_cast<const ReturnStmt&>(s).value)
                expression(*value);
            else
                out.pop_back();
            break;
        }
    }

    std::size_t indent_ = 0;
};

template <typename Print>
std::string printed(Print print) {
    Dumper dumper;
    print(dumper);
    if (!dumper.out.empty() && dumper.out.back() == '\n') dumper.out.pop_back();
    return std::move(dumper.out);
}

} // namespace

std::string dump(const TranslationUnit& unit) {
    return printed([&](Dumper& dumper) { dumper.unit(unit); });
}
std::string dump(const Decl& decl) {
    return printed([&](Dumper& dumper) { dumper.declaration(decl); });
}
std::string dump(const Expr& expression) {
    return printed([&](Dumper& dumper) { dumper.expression(expression); });
}
std::string dump(const TypeSyntax& type) {
    return printed([&](Dumper& dumper) { dumper.type(type); });
}

} // namespace msl
